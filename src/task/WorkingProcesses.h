#pragma once

#include <map>
#include <string>
#include <vector>

// The folders in which the processes of this machine worked at one moment. A run's script works in the folder
// of its task until it ends, so this tells whether a run is alive that this program didn't start. Any thread.
class WorkingProcesses {
public:
    static WorkingProcesses now(); // Reads a link for each process; those of other users aren't seen.

    std::vector<int> in(const std::string& folder) const; // Their ids, in ascending order.

private:
    std::map<std::string, std::vector<int>> byFolder_;
};
