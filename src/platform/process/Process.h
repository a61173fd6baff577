#pragma once

#include "platform/Result.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// A launched program, script or binary, with null input and output, and a working directory, a session and a
// process group of its own. Functions may be called from any thread. Destroying the object does not end the
// program.
//
// A script is run by the interpreter that its first line names. Where that is /bin/sh and this machine's
// /bin/sh refuses ">& file" (found out once), a shell that accepts it runs the script in its place. Where
// bash is to read a file first, bash runs the script.
class Process {
public:
    struct Request {
        std::string path;
        std::vector<std::string> arguments;
        std::string workDirectory;
        // A file that bash reads before a "/bin/sh" script. It is named by BASH_ENV in the script's
        // environment, and should remove that. Where there is no bash nothing reads it.
        std::string readByBashFirst{};
    };
    // Why a launch failed: the kind of failure, and a reason with the path in it.
    struct Error {
        std::string name;
        std::string reason;
    };

    // Checks the kind, the mode and the first line of a file, and tells why it can't be launched. Nothing
    // when these are in order; only the launch shows whether it is a program for this machine.
    static std::optional<Error> whyNotLaunchable(const std::string& path);

    // A path that isn't there, isn't executable, or is no program for this machine fails here, not later.
    static Result<std::shared_ptr<Process>, Error> launch(const Request&);
    ~Process();

    bool isRunning();
    // Ends the program and all processes that it started: its process group, the processes that members of
    // the group started outside of it, and every process of this user with the program's mark in its
    // environment. Sends SIGTERM, and a few seconds later SIGKILL to the processes that are left, whether or
    // not this object still exists. A process escapes only if it left the group, lost its parents and dropped
    // the environment. Does not wait.
    void terminate();
    // Waits at most that long (real seconds) and tells whether the program has ended.
    bool waitUntilExit(double limitInSeconds);
    // The exit status, or 128 plus the signal's number; -1 while running.
    int terminationStatus();
    int processIdentifier() const;

    // Waits, at most that long (real seconds), until everything that terminate() was called for has ended,
    // and tells whether it has. A program calls this before it exits: the later SIGKILL would be lost
    // otherwise.
    static bool finishTerminations(double limitInSeconds);
    // Sends SIGKILL now to everything that terminate() has sent only SIGTERM so far.
    static void killTerminating();

private:
    struct State;
    explicit Process(std::shared_ptr<State>);
    std::shared_ptr<State> state_;
};

} // namespace platform
