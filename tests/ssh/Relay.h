#pragma once

#include "platform/Loopback.h"

#include <atomic>
#include <list>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace support {

// Passes connections on to a port of this computer, and counts, stalls or cuts them. Any thread.
class Relay {
public:
    explicit Relay(int target) : target_(target), listener_(listenOnLoopback(port_))
    {
        thread_ = std::thread([this] { serve(); });
    }
    ~Relay()
    {
        isEnding_ = true;
        ::shutdown(listener_.get(), SHUT_RDWR);
        thread_.join();
    }
    int port() const { return port_; }
    int connections() const { return connections_; } // All of them so far.
    int open() const { return open_; }
    std::uint64_t toClient() const { return toClient_; } // Bytes.
    void stall(bool on) { isStalled_ = on; }
    void cut()
    {
        const std::lock_guard guard(lock_);
        for (const Pair& pair : pairs_)
            ::shutdown(pair.client.get(), SHUT_RDWR);
    }

private:
    struct Pair {
        platform::Descriptor client, server;
    };
    void serve()
    {
        while (!isEnding_) {
            std::vector<pollfd> polled{{listener_.get(), POLLIN, 0}};
            for (const Pair& pair : pairs_) {
                polled.push_back({pair.client.get(), POLLIN, 0});
                polled.push_back({pair.server.get(), POLLIN, 0});
            }
            // Stalled, it only looks whether it still is.
            ::poll(polled.data(), isStalled_ ? 1 : polled.size(), 20);
            std::size_t at = 1;
            const std::lock_guard guard(lock_);
            for (auto pair = pairs_.begin(); pair != pairs_.end() && !isStalled_; at += 2) {
                const bool goesOn = (!polled[at].revents || pass(pair->client, pair->server, nullptr))
                    && (!polled[at + 1].revents || pass(pair->server, pair->client, &toClient_));
                pair = goesOn ? std::next(pair) : pairs_.erase(pair);
            }
            if (polled[0].revents && !isEnding_)
                accept();
            open_ = static_cast<int>(pairs_.size());
        }
    }
    void accept()
    {
        Pair pair{platform::Descriptor(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)),
            platform::Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))};
        const sockaddr_in address = loopback(target_);
        if (!pair.client
            || ::connect(pair.server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            return;
        ++connections_;
        pairs_.push_back(std::move(pair));
    }
    static bool pass(
        const platform::Descriptor& from, const platform::Descriptor& to, std::atomic<std::uint64_t>* count)
    {
        char bytes[65536];
        const ssize_t got = ::recv(from.get(), bytes, sizeof bytes, 0);
        if (count && got > 0)
            *count += static_cast<std::uint64_t>(got);
        for (ssize_t sent = 0; sent < got;) {
            const ssize_t put =
                ::send(to.get(), bytes + sent, static_cast<std::size_t>(got - sent), MSG_NOSIGNAL);
            if (put <= 0)
                return false;
            sent += put;
        }
        return got > 0;
    }

    const int target_;
    int port_ = 0;
    const platform::Descriptor listener_;
    std::mutex lock_;
    std::list<Pair> pairs_; // Changed by the thread alone, under the lock.
    std::atomic<bool> isStalled_{false}, isEnding_{false};
    std::atomic<int> connections_{0}, open_{0};
    std::atomic<std::uint64_t> toClient_{0};
    std::thread thread_;
};

} // namespace support
