#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <list>
#include <thread>

// A TCP relay on the loopback that holds every byte back for a fixed time, each way: a long line without
// loss, as wide as the machine is fast. It counts the round trips of the connection that it carries: how
// often the client went on sending only after it had been given what the server made of its last words.
class Relay {
public:
    Relay(int targetPort, std::chrono::milliseconds delay);
    ~Relay();
    int port() const { return port_; }
    std::int64_t bytes() const { return bytes_; } // Of all connections, both ways.
    int roundTrips(); // Of the last connection, once it has ended; that before a client's first word counts.

private:
    void accept();
    void connectThrough(int client);

    int targetPort_;
    std::chrono::milliseconds delay_;
    int port_ = 0;
    int listener_; // Its making sets the port.
    std::thread thread_;
    std::list<std::thread> carriers_;
    std::atomic<int> open_{0}; // Connections at work.
    std::atomic<int> roundTrips_{0};
    std::atomic<std::int64_t> bytes_{0};
};
