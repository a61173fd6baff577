#pragma once

#include <memory>
#include <string>
#include <vector>

class SVSingleTask;

// Clears tasks of one wrapper, so that they can be run again. It skips a running task, which still needs its
// files, and a task that another session may be about to launch. Main thread.
struct ClearTasks {
    int cleared = 0;
    // A sentence for each task that was skipped or could not be cleared completely.
    std::vector<std::string> complaints;

    static ClearTasks clear(
        const std::string& wrapperName, const std::vector<std::shared_ptr<SVSingleTask>>& tasks);
};
