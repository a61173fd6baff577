#pragma once

#include "apps/console/Terminal.h"
#include "task/engine/BatchCount.h"
#include "task/single/SVTaskController.h"

#include <string>
#include <vector>

// Formats the progress of a batch as lines for a terminal.
class BatchProgress {
public:
    explicit BatchProgress(const SVTaskController& controller)
        : controller_(controller) { } // Must outlive this.

    // The lines of a live table for a window of that size: the tasks, the number of tasks that don't fit, a
    // total line, and the latest notices. When not all tasks fit, running tasks come first.
    // `above` are lines that come first.
    std::vector<std::string> lines(terminal::Size window, const std::string& total,
        const std::vector<std::string>& notices, const std::vector<std::string>& above = {}) const;

    // "3 of 9 done, 2 running, 4 waiting  0:11, about 0:20 left"
    std::string total(double secondsElapsed, int concurrency) const;

private:
    std::string taskLine(int number, int columns) const;
    std::string totalLine(const std::string& words, int columns) const;
    std::vector<int> tasksThatFit(int rows) const;
    int numberColumns() const;

    const SVTaskController& controller_;
};
