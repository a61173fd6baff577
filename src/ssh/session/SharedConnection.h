#pragma once

#include "ssh/session/SshTransport.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace ssh {

struct SharedLimits {
    std::chrono::milliseconds unused{60000}; // The connection ends when no session was open for so long.
    std::chrono::milliseconds probe{60000}; // Between requests that show whether a quiet server lives.
};

// A logged-in connection whose channels belong to several sessions (SharedSession) on different threads. One
// thread reads and writes the socket, and hands each message to the inbox of the session that has the
// channel. A session takes its messages from there when it likes: the server may send no more than the
// window that the session has granted, so that a slow one never holds up the others.
//
// Any thread. The lock is taken after that of a session's owner, and nothing else is locked while it is held.
class SharedConnection {
public:
    // Takes over a connection with a user logged in, which `owner` owns and nobody else uses any more.
    static Result<std::shared_ptr<SharedConnection>> over(
        SshTransport& transport, std::shared_ptr<void> owner, const SharedLimits& limits);
    ~SharedConnection(); // Ends the connection. Sessions own it, so that there are none any more.
    SharedConnection(const SharedConnection&) = delete;
    SharedConnection& operator=(const SharedConnection&) = delete;

    bool isAlive() const; // Sessions can be opened. False for good once it has failed or ended.
    void setHeld(bool isHeld); // Whether it stays without any session. Not held at first.

    // What follows is for SharedSession.

    // Messages for the channels of one session.
    struct Inbox {
        Bytes messages; // Each behind its length, a uint32.
        std::size_t limit = 0; // Bytes; more is more than the windows of the channels allow.
        Deadline lastProbe{}; // When the session last asked the server for an answer.
    };
    void join(); // A session begins.
    void leave(Inbox& inbox); // It ends: closes the channels that are left.
    std::uint32_t newChannel(Inbox& inbox); // The number for a channel that the session is about to open.
    Status send(ByteView head, ByteView body);
    std::size_t unsent() const;
    bool hasEnded() const;
    std::string serverVersion() const { return serverVersion_; }

    // Exchanges the messages for `into`, which is emptied first. Returns a number for wait().
    std::uint64_t take(Inbox& inbox, Bytes& into);
    enum class Event { Moved, TimedOut };
    // Waits until something has moved since take() gave the number, or the connection has ended, which is a
    // failure when the inbox is empty. With `keepsAlive`, a server that has been silent for half of the limit
    // is asked for an answer, and its silence for the other half is a failure too.
    Result<Event> wait(Inbox& inbox, std::uint64_t since, Deadline until, bool keepsAlive,
        std::chrono::milliseconds silence);
    Deadline lastLife() const; // When the server last showed that it lives.
    void giveUp(); // A session has found the server silent: it opens no further ones.
    void fail(const Error& error); // The server has broken the protocol: the connection ends for all.

private:
    struct Route {
        enum class State { Opening, Open, Closed };
        Inbox* inbox = nullptr; // Null when the session has gone and the server has not closed the channel.
        State state = State::Opening;
        std::uint32_t remoteNumber = 0;
        bool closeSent = false;
    };
    SharedConnection(SshTransport& transport, std::shared_ptr<void> owner, const SharedLimits& limits);
    // All of these under the lock.
    Status dispatch(std::uint32_t number, ByteView payload);
    Status closeRoute(Route& route);
    void noteClose(std::uint32_t remoteNumber);
    Status work();
    Deadline nextWork() const;
    void wake();
    void end(const Error& error);

    void serve();
    void waitForSocket(bool writes, Deadline until) const;

    const SharedLimits limits_;
    const std::shared_ptr<void> owner_; // Of the transport.
    SshTransport& transport_;
    const std::string serverVersion_;
    const int socket_;
    const platform::Descriptor wakeEvent_;

    mutable std::mutex lock_;
    std::condition_variable moved_;
    std::uint64_t moves_ = 0;
    std::map<std::uint32_t, Route> routes_; // By our number.
    std::uint32_t nextNumber_ = 0;
    int sessions_ = 0;
    Deadline unusedSince_;
    Deadline lastProbe_{};
    bool isHeld_ = false;
    bool isWoken_ = false; // The thread has not seen the event yet.
    bool isGivenUp_ = false;
    bool isEnding_ = false;
    std::optional<Error> failure_;
    std::thread thread_;
};

} // namespace ssh
