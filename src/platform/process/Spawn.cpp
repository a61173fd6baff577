#include "platform/process/Spawn.h"

#include "platform/process/ProcessTable.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace platform {

namespace {

// A file that this process has just written can't be executed while a child that another thread is starting
// still holds the descriptor it was written through. That passes within moments.
constexpr int kBusyAttempts = 200;
constexpr auto kBusyWait = std::chrono::milliseconds(5);

class FileActions {
public:
    explicit FileActions(const std::string& folder)
    {
        posix_spawn_file_actions_init(&actions_);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            posix_spawn_file_actions_addopen(
                &actions_, stream, "/dev/null", stream == STDIN_FILENO ? O_RDONLY : O_WRONLY, 0);
        if (!folder.empty())
            posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str());
        posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

class Attributes {
public:
    Attributes()
    {
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        sigset_t set;
        sigemptyset(&set);
        posix_spawnattr_setsigmask(&attributes_, &set);
        sigfillset(&set);
        posix_spawnattr_setsigdefault(&attributes_, &set);
    }
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

// The parent of this program may have left SIGCHLD ignored. The kernel then reaps each child by itself,
// before its exit status was read and while its number still names its group.
void keepEndedChildren()
{
    struct sigaction action { };
    const bool known = ::sigaction(SIGCHLD, nullptr, &action) == 0;
    const bool isIgnored = (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
    if (!known || (!isIgnored && (action.sa_flags & SA_NOCLDWAIT) == 0))
        return;
    if (isIgnored)
        action.sa_handler = SIG_DFL;
    action.sa_flags &= ~SA_NOCLDWAIT;
    ::sigaction(SIGCHLD, &action, nullptr);
}

// The entry of the environment that holds the marks: those of the runs around this one, and the new one.
std::string markEntry(const std::string& mark)
{
    std::string entry = std::string(kMarkVariable) + "=";
    if (const char* around = std::getenv(kMarkVariable); around && *around)
        entry += std::string(around) + kMarkSeparator;
    return entry + mark;
}

// This process's environment with the entries in place of former ones.
std::vector<char*> environmentWith(std::vector<std::string>& entries)
{
    const auto isReplaced = [&entries](std::string_view variable) {
        return std::any_of(entries.begin(), entries.end(), [variable](const std::string& entry) {
            return variable.starts_with(std::string_view(entry).substr(0, entry.find('=') + 1));
        });
    };
    std::vector<char*> variables;
    for (char** variable = environ; variable && *variable; ++variable)
        if (!isReplaced(*variable))
            variables.push_back(*variable);
    for (std::string& entry : entries)
        variables.push_back(entry.data());
    variables.push_back(nullptr);
    return variables;
}

SpawnFailure::Kind kindOf(int error)
{
    switch (error) {
    case ENOEXEC:
    case ELIBBAD:
        return SpawnFailure::Kind::NotAProgram;
    case ENOENT:
        return SpawnFailure::Kind::NotThere;
    case ENOTDIR:
    case EACCES:
        return SpawnFailure::Kind::NotAllowed;
    default:
        return SpawnFailure::Kind::Other;
    }
}

} // namespace

Result<pid_t, SpawnFailure> spawn(const std::vector<std::string>& command, const std::string& folder,
    const std::string& mark, const std::vector<std::string>& environment)
{
    keepEndedChildren();
    // All memory is allocated before the child starts: between its start and the exec the library makes only
    // system calls.
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str())); // NOLINT: the call changes none of them.
    arguments.push_back(nullptr);
    std::vector<std::string> entries = environment;
    entries.push_back(markEntry(mark));
    const std::vector<char*> variables = environmentWith(entries);
    const FileActions actions(folder);
    const Attributes attributes;
    pid_t process = 0;
    int error = ETXTBSY;
    for (int attempt = 0; error == ETXTBSY && attempt < kBusyAttempts; ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(kBusyWait);
        error = posix_spawn(&process, command.front().c_str(), actions.get(), attributes.get(),
            arguments.data(), variables.data());
    }
    if (error != 0)
        return SpawnFailure{kindOf(error), std::generic_category().message(error)};
    return process;
}

} // namespace platform
