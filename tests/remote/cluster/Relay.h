#pragma once

#include "ssh/Support.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

// Forwards connections to a server of this computer. When so many bytes have gone through, those that are
// open end or fall silent, or the server's side is killed; later ones are well. Silent ones end after a
// while.
class Relay {
public:
    enum class Fault { Ends, FallsSilent, ServerIsKilled };
    Relay(int serverPort, std::function<void()> killServer)
        : serverPort_(serverPort), killServer_(std::move(killServer)),
          listener_(support::listenOnLoopback(port_))
    {
        thread_ = std::thread([this] { forward(); });
    }
    ~Relay()
    {
        isEnding_ = true;
        thread_.join();
        for (const Pair& pair : pairs_)
            close(pair);
    }
    int port() const { return port_; }
    std::int64_t bytes() const { return bytes_; }
    void breakAt(std::int64_t bytes, Fault fault, std::chrono::milliseconds silence)
    {
        fault_ = fault;
        silence_ = silence.count();
        bytes_ = 0;
        breakAt_ = bytes;
    }
    void mend() { breakAt_ = 0; } // Later connections are well, whatever was to come.

private:
    using Clock = std::chrono::steady_clock;
    struct Pair {
        int one;
        int other;
        std::optional<Clock::time_point> silentUntil = std::nullopt;
    };
    static void close(const Pair& pair)
    {
        ::close(pair.one);
        ::close(pair.other);
    }
    static bool isReadable(int socket, int milliseconds)
    {
        pollfd wait{socket, POLLIN, 0};
        return ::poll(&wait, 1, milliseconds) > 0;
    }
    void forward()
    {
        while (!isEnding_) {
            if (isReadable(listener_.get(), pairs_.empty() ? 10 : 0))
                connect();
            std::erase_if(pairs_, [this](Pair& pair) {
                const bool goesOn = pair.silentUntil
                    ? Clock::now() < *pair.silentUntil
                    : pass(pair.one, pair.other) && pass(pair.other, pair.one);
                if (!goesOn)
                    close(pair);
                return !goesOn;
            });
            if (breakAt_ > 0 && bytes_ >= breakAt_)
                breakAll();
        }
    }
    void connect()
    {
        const int one = ::accept(listener_.get(), nullptr, nullptr);
        const int other = ::socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = support::loopback(serverPort_);
        if (one >= 0 && ::connect(other, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            pairs_.push_back({one, other});
        else
            close({one, other});
    }
    bool pass(int from, int to)
    {
        if (!isReadable(from, 1))
            return true;
        char buffer[4096];
        const ssize_t count = ::recv(from, buffer, sizeof buffer, 0);
        bytes_ += std::max<ssize_t>(count, 0);
        return count > 0 && ::send(to, buffer, static_cast<std::size_t>(count), MSG_NOSIGNAL) == count;
    }
    void breakAll()
    {
        breakAt_ = 0;
        if (fault_ == Fault::ServerIsKilled)
            return killServer_();
        for (Pair& pair : pairs_)
            pair.silentUntil = Clock::now() + std::chrono::milliseconds(silence_);
        if (fault_ == Fault::Ends)
            for (const Pair& pair : std::exchange(pairs_, {}))
                close(pair);
    }

    const int serverPort_;
    const std::function<void()> killServer_;
    int port_ = 0;
    const platform::Descriptor listener_;
    std::vector<Pair> pairs_;
    std::atomic<std::int64_t> bytes_ = 0;
    std::atomic<std::int64_t> breakAt_ = 0; // 0 for never.
    std::atomic<Fault> fault_ = Fault::Ends;
    std::atomic<std::int64_t> silence_ = 0; // Milliseconds.
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};
