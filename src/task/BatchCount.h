#pragma once

#include <string>

class SVTaskController;

// How far the tasks of a wrapper are, by their markers as they were last read.
struct BatchCount {
    int total = 0;
    int done = 0;
    int running = 0;
    int waiting = 0;
    int aborted = 0;
    int failed = 0; // Of those done: whose program ended with a failure.
    double percentage = 0; // Of the whole batch; 100 without tasks.

    static BatchCount of(const SVTaskController& controller);
    bool isComplete() const { return done == total; }
    // "3 of 9 done, 2 running, 4 waiting, 1 failed"
    std::string sentence() const;
};
