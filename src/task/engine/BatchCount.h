#pragma once

#include <optional>
#include <string>
#include <vector>

class SVTaskController;

// Counts of a wrapper's tasks by state. Counted from the markers as they were last read.
struct BatchCount {
    int total = 0;
    int done = 0;
    int running = 0;
    int waiting = 0;
    int aborted = 0;
    int failed = 0; // The part of `done` whose program failed.
    double percentage = 0; // Of the whole batch; 100 without tasks.

    static BatchCount of(const SVTaskController& controller);
    bool isComplete() const { return done == total; }
    // "3 of 9 done, 2 running, 4 waiting, 1 failed"
    std::string sentence() const;
};

// Estimates how long the rest of a batch takes, in seconds, when `concurrency` tasks run at a time. The
// estimate uses the durations of the tasks that are done and the progress of those that run. Nothing when
// there is no basis for an estimate yet, and when no work is left.
std::optional<double> secondsLeft(const SVTaskController& controller, int concurrency);

// Numbers (from 1) of tasks that are done and look wrong although their program reported no failure.
struct OddOnes {
    std::vector<int> brief; // Ended in less than a tenth of the usual time.
    std::vector<int> silent; // Printed nothing while others printed something.

    static OddOnes of(const SVTaskController& controller);
};
