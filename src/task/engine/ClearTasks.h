#pragma once

#include <memory>
#include <optional>
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
    // What to ask the user before: the results of a task that is done may have taken weeks to compute.
    // Nothing when no such results would be removed.
    static std::optional<std::string> questionBefore(
        const std::string& wrapperName, const std::vector<std::shared_ptr<SVSingleTask>>& tasks);
};
