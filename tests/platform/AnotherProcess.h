#pragma once

#include <array>
#include <csignal>
#include <fstream>
#include <functional>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

enum class AsUser { Same, Nobody };

// Runs the work in a child process, as another user where that is possible, and gives its exit status: 0 when
// the work answers true.
inline int inAnotherProcess(AsUser user, const std::string& itsFolder, const std::function<bool()>& work)
{
    constexpr uid_t kNobody = 65534;
    if (user == AsUser::Nobody && ::geteuid() == 0 && !itsFolder.empty()
        && ::chown(itsFolder.c_str(), kNobody, kNobody) != 0)
        return -1;
    const pid_t child = ::fork();
    if (child == 0) {
        const bool isReady =
            user == AsUser::Same || ::geteuid() != 0 || (::setgid(kNobody) == 0 && ::setuid(kNobody) == 0);
        ::_exit(isReady && work() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Whether it still runs; a zombie that its own parent has yet to reap doesn't.
inline bool isAlive(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    return std::getline(status, line) && line.find(") Z ") == std::string::npos;
}

// A child process that says and hears lines. It is killed with the object.
class AnotherProcess {
public:
    class Channel {
    public:
        explicit Channel(int socket) : socket_(socket) { }
        void tell(const std::string& line) const
        {
            const std::string sent = line + "\n";
            if (::send(socket_, sent.data(), sent.size(), MSG_NOSIGNAL) < 0)
                ::_exit(2);
        }
        std::string hear() const // Empty when the other side has gone.
        {
            std::string line;
            for (char byte = 0; ::read(socket_, &byte, 1) == 1 && byte != '\n';)
                line += byte;
            return line;
        }

    private:
        int socket_;
    };

    explicit AnotherProcess(const std::function<void(Channel&)>& work)
        : sockets_(pair()), child_(::fork()), channel_(sockets_[child_ == 0 ? 1 : 0])
    {
        if (child_ == 0) {
            ::close(sockets_[0]);
            work(channel_);
            ::_exit(0);
        }
        ::close(sockets_[1]);
    }
    ~AnotherProcess()
    {
        kill();
        ::close(sockets_[0]);
    }
    AnotherProcess(const AnotherProcess&) = delete;
    AnotherProcess& operator=(const AnotherProcess&) = delete;

    Channel& channel() { return channel_; }
    void kill()
    {
        if (child_ <= 0)
            return;
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
        child_ = -1;
    }

private:
    static std::array<int, 2> pair()
    {
        std::array<int, 2> sockets{-1, -1};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0)
            ::abort();
        return sockets;
    }

    std::array<int, 2> sockets_;
    pid_t child_;
    Channel channel_;
};
