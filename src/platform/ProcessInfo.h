#pragma once

#include <functional>
#include <string>

namespace platform {

// Facts about this process, its user and its machine. Any thread.
std::string hostName();
std::string loginName();
int processorCount(); // At least 1.
// The version of the layer that stands in for the desktop platform, counted as that platform counts its own.
double foundationVersion();
std::string uniqueString(); // Different at each call, in each process, on each machine.
std::string makeUuid(); // Version 4 in canonical form, upper case.

// One line to the log of the operating system, not to the user.
void systemLog(const std::string& line);
// Hands every line to the reader, on the thread that logs it, instead of to the operating system. An empty
// reader gives the lines back to the operating system. For tests.
void setSystemLogReader(std::function<void(const std::string& line)> reader);

} // namespace platform
