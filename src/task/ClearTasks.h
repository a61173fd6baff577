#pragma once

#include <memory>
#include <string>
#include <vector>

class SVSingleTask;

// Clears tasks of one wrapper, which lets them be run again, and leaves alone what must be kept: a running
// task still needs its files, and so does one that another session is about to launch. Main thread.
struct ClearTasks {
    int cleared = 0;
    // Why the others were not, or not wholly, cleared: a sentence for each.
    std::vector<std::string> complaints;

    static ClearTasks clear(
        const std::string& wrapperName, const std::vector<std::shared_ptr<SVSingleTask>>& tasks);
};
