#pragma once

#include <map>
#include <string>
#include <vector>

// The working directories of this machine's processes at one moment. The script of a run keeps the task's
// folder as its working directory until it ends, so this finds runs that another program has started. Any
// thread.
class WorkingProcesses {
public:
    static WorkingProcesses now(); // Without the processes of other users.

    std::vector<int> in(const std::string& folder) const; // Process ids in ascending order.

private:
    std::map<std::string, std::vector<int>> byFolder_;
};
