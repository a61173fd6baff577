#pragma once

#include "apps/console/Terminal.h"
#include "task/SVTaskController.h"

#include <string>
#include <vector>

// How far a batch is, in lines for a terminal.
class BatchProgress {
public:
    explicit BatchProgress(const SVTaskController& controller)
        : controller_(controller) { } // Must outlive this.

    // The lines of a live table for a window of that size, with their widths in columns: the tasks (those
    // that run first, when there are more than fit) and a total line with the elapsed time.
    struct Lines {
        std::vector<std::string> texts;
        std::vector<int> columns;
    };
    Lines lines(terminal::Size window, double secondsElapsed) const;

private:
    std::string taskLine(int number, int columns) const;
    std::vector<int> tasksThatFit(int rows) const;
    int numberColumns() const;

    const SVTaskController& controller_;
};
