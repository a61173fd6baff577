#pragma once

#include "remote/machines/SVSSHPasswordInfo.h"

#include <string>
#include <vector>

// The work folder of a login, looked at from here. Each function makes a connection of its own and blocks
// until it is done. Any thread.
namespace machinefolder {

// Logs in and makes the work folder where there is none, with the folder for cached executables in it.
// Returns the words of the result, "Worked" when all went well.
std::string check(const SVSSHPasswordInfo& login, const std::string& workDirectory);
inline constexpr const char* kWorked = "Worked";

struct Entry {
    std::string name;
    ssh::CkoDate modified;
};
struct Listing {
    std::vector<Entry> entries; // In the server's order; those without a date are left out.
    std::optional<std::string> error;
};
// What the work folder holds; nothing when it is missing.
Listing list(const SVSSHPasswordInfo& login, const std::string& workDirectory);

} // namespace machinefolder
