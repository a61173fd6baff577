#pragma once

#include <atomic>
#include <chrono>
#include <list>
#include <thread>

// A TCP relay on the loopback that holds every byte back for a fixed time, each way: a long line without
// loss, as wide as the machine is fast.
class Relay {
public:
    Relay(int targetPort, std::chrono::milliseconds delay);
    ~Relay();
    int port() const { return port_; }

private:
    void accept();
    void carry(int from, int to);

    int targetPort_;
    std::chrono::milliseconds delay_;
    int listener_ = -1;
    int port_ = 0;
    std::thread thread_;
    std::list<std::thread> carriers_;
};
