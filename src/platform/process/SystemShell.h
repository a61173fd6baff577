#pragma once

#include <optional>
#include <string>
#include <vector>

namespace platform {

// The shell that runs scripts which say "#!/bin/sh". The scripts of this system use the redirection
// ">& file", about which shells differ: some write both outputs into the file, others refuse it. Any thread.
namespace systemshell {

// The shell and its options, to be followed by the script's path: /bin/sh when it accepts the redirection
// (tried once), else the first shell of this machine that does, else /bin/sh.
std::vector<std::string> command();

// The path of bash, which takes the redirection as well; nothing where this machine has none, or where
// another program stands for /bin/sh.
std::optional<std::string> bash();

// Lets another program stand for /bin/sh; an empty path gives /bin/sh back. For tests.
void setPath(const std::string& path);

} // namespace systemshell
} // namespace platform
