#pragma once

#include "platform/Result.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace platform {

// Starts a program by its path (the first of the command) in the folder (the current one when empty), as the
// leader of a session and a process group of its own, with /dev/null for its three streams, no other
// descriptor, and every signal at its default. Its session has no terminal: a program that asks for a
// password there fails, where a background job of this program's terminal would be stopped. A mark is added
// to those that the environment hands down from runs around this one (ProcessTable.h), and the entries
// "NAME=value" replace those of the environment. Returns the process, or what failed up to and including the
// exec; no child is left then. Any thread.
struct SpawnFailure {
    enum class Kind { NotAProgram, NotThere, NotAllowed, Other };
    Kind kind = Kind::Other;
    std::string reason; // In the system's words, without the path.
};
Result<pid_t, SpawnFailure> spawn(const std::vector<std::string>& command, const std::string& folder,
    const std::string& mark, const std::vector<std::string>& environment = {});

} // namespace platform
