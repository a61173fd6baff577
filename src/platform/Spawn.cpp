#include "platform/Spawn.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
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
            &attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawnattr_setpgroup(&attributes_, 0);
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

} // namespace

int spawn(const std::vector<std::string>& command, const std::string& folder, pid_t& process)
{
    // All memory is had before the child begins: between its start and the exec the library makes nothing but
    // system calls.
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str())); // NOLINT: the call changes none of them.
    arguments.push_back(nullptr);
    const FileActions actions(folder);
    const Attributes attributes;
    int error = ETXTBSY;
    for (int attempt = 0; error == ETXTBSY && attempt < kBusyAttempts; ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(kBusyWait);
        error = posix_spawn(
            &process, command.front().c_str(), actions.get(), attributes.get(), arguments.data(), environ);
    }
    return error;
}

} // namespace platform
