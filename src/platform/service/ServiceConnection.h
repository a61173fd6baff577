#pragma once

#include "platform/Result.h"
#include "platform/plist/Value.h"
#include "platform/service/ServiceCalls.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

class ServiceChannel;

// Two programs talk: one offers objects' operations, the other connects and calls them with property lists.
// Everything runs on the main loop. On one machine they meet through a named service, a stream socket in
// Places::services(), which lets in processes of the same user alone. On two machines they meet at a TCP port
// (TcpService), where both prove first that they know a secret.
//
// On the wire a message is a big-endian
// uint32 length and that many bytes of an XML property list: a dictionary with "Operation" and "Argument",
// and for a call that wants a reply with "Call", a number that returns in a dictionary with "Reply" and
// "Result". At most 64 MiB a message.
class ServiceConnection {
public:
    using Failure = ServiceFailure;
    using Handler = ServiceHandler;

    // Blocks while a living service lets nobody in, at most that long (seconds).
    static Result<std::unique_ptr<ServiceConnection>> connect(
        const std::string& name, double limitInSeconds = 4.0);
    // Returns at once and never blocks. The function is called once, from the main loop, when the connection
    // is there or with the reason why it can't be had within the limit; a connection that was destroyed or
    // invalidated before calls nothing. What is sent meanwhile is kept and goes out first, or is dropped
    // together with the attempt.
    static std::unique_ptr<ServiceConnection> connectLater(
        const std::string& name, std::function<void(Status)> whenConnected, double limitInSeconds = 4.0);
    // To a TcpService, or another program that speaks the same, on another machine. Blocks for looking up the
    // host, connecting and the proof, at most that long (seconds) in all. Without a secret nothing is proved.
    struct TcpFailure {
        enum class Kind { NotReached, NotProved };
        Kind kind = Kind::NotReached;
        std::string text;
    };
    static Result<std::unique_ptr<ServiceConnection>, TcpFailure> connectTcp(const std::string& host,
        int port, const std::optional<std::string>& secret, double limitInSeconds = 4.0);
    // Over a channel that has begun.
    static std::unique_ptr<ServiceConnection> over(std::shared_ptr<ServiceChannel>);
    ~ServiceConnection();

    // One way, and never waits: what the peer doesn't take at once is kept, in order, and goes out from the
    // main loop; invalidating the connection drops it. A peer that has let 16 MiB pile up is as good as gone:
    // the message that would be added fails with the time limit, and the connection ends (one that is still
    // being made goes on without the message). A message beyond 64 MiB is more than any peer takes, and fails
    // with the time limit.
    Failure send(const std::string& operation, const Value& argument);
    // Waits for the reply at most the time limit. A call that fails may reach the peer later. Operations that
    // the peer calls meanwhile are served, in the order of their arrival, so that two programs that call each
    // other don't wait in vain; nothing else of the loop is served. Not connected while isConnecting().
    Result<Value, Failure> call(const std::string& operation, const Value& argument);
    void setTimeLimit(double seconds); // 4.0 unless set; not subject to Pace.

    bool isConnected() const;
    bool isConnecting() const; // After connectLater(), until the function is called.
    void invalidate(); // Ends the connection from this side; nothing is called any more.
    // Called on the main loop, once, when the peer has gone; never from inside another function of this
    // class.
    void whenPeerDies(std::function<void()> handler);
    // Serves operations that the other side calls on this connection.
    void setHandler(Handler);

private:
    explicit ServiceConnection(std::shared_ptr<ServiceChannel>);
    std::shared_ptr<ServiceChannel> channel_;
};

} // namespace platform
