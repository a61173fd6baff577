#pragma once

#include "apps/console/Terminal.h"
#include "task/SVTaskController.h"

#include <string>
#include <utility>
#include <vector>

// How far a batch is, in numbers and in lines for a terminal.
class BatchProgress {
public:
    explicit BatchProgress(const SVTaskController& controller)
        : controller_(controller) { } // Must outlive this.

    struct Counts {
        int done = 0;
        int aborted = 0;
        int running = 0;
        int waiting = 0;
        double percentage = 0; // Of the whole batch.
    };
    Counts count() const;
    // "3 of 9 done, 2 running, 4 waiting"
    std::string sentence(const Counts& counts) const;

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

// The word for a task's state in the table, and its color.
std::pair<std::string, terminal::Output::Color> statusWord(const SVSingleTask& task);
