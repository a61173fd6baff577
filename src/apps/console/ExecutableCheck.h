#pragma once

#include <optional>
#include <string>
#include <vector>

// Why a file can't be run on this machine, as a sentence for a user; nothing when it can. The script of a run
// would only say so in the output of each task.
std::optional<std::string> whyNotExecutable(const std::string& path);

// Why nothing can be written into a folder, as a sentence; nothing when something can.
std::optional<std::string> whyNotWritable(const std::string& folder);

// The processes of this machine that work in a folder, by their ids.
std::vector<int> processesWorkingIn(const std::string& folder);
