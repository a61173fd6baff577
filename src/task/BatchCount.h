#pragma once

#include <optional>
#include <string>
#include <vector>

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

// How long the rest of a batch will take, in seconds, judged by the tasks that are done and by the progress
// of those that run, so many at a time; nothing as long as neither tells anything, and when nothing is left.
std::optional<double> secondsLeft(const SVTaskController& controller, int concurrency);

// Numbers (from 1) of tasks that are done and look as if something had gone wrong, though their program said
// nothing of it.
struct OddOnes {
    std::vector<int> brief; // Ended in less than a tenth of the usual time.
    std::vector<int> silent; // Printed nothing, where others did.

    static OddOnes of(const SVTaskController& controller);
};
