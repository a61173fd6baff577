#pragma once

#include "ssh/session/ForwardHost.h"
#include "ssh/transport/Socket.h"

#include <memory>
#include <thread>

namespace ssh {

// A connection to a host that another server makes for us: a channel of the logged-in connection to that
// server, joined with a local socket. One thread moves the bytes, and nothing else uses that connection.
class SshForward {
public:
    struct Opened;
    static Result<Opened> open(std::unique_ptr<ForwardHost> jump, const std::string& host, int port);
    // After the local socket has been closed; else it waits for that.
    ~SshForward();
    SshForward(const SshForward&) = delete;
    SshForward& operator=(const SshForward&) = delete;

private:
    SshForward(std::unique_ptr<ForwardHost> jump, int channel, Socket socket, int descriptor);
    void serve();
    bool moveToLocal(bool& moved);
    bool moveToServer(bool& moved);
    bool wait() const; // False when the other end of the local socket is gone.

    std::unique_ptr<ForwardHost> jump_;
    const int channel_;
    Socket socket_; // Our end of the local pair.
    const int descriptor_; // Of that end.
    Bytes toLocal_;
    Bytes toServer_;
    std::thread thread_;
};

struct SshForward::Opened {
    Socket socket; // The local socket.
    std::unique_ptr<SshForward> forward;
};

} // namespace ssh
