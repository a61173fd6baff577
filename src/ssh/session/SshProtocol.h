#pragma once

#include "ssh/session/Channel.h"
#include "ssh/session/UserAuth.h"
#include "ssh/transport/KeyExchange.h"

#include <deque>

namespace ssh {

// The client's end of an SSH connection without its socket: RFC 4253 with the parts above it. What the server
// sent goes into `incoming()` and is worked off by `process()`; what is to be sent gathers in `outgoing()`.
// It waits for nothing and knows no clock. After a failure it is of no further use.
class SshProtocol {
public:
    struct Setup {
        std::string clientVersion; // Without line end.
        AlgorithmSettings algorithms;
        std::function<Status(const PublicKey&)> acceptHostKey;
        std::function<void(const std::string&)> log;
    };
    explicit SshProtocol(Setup setup);

    Status start(); // Our version line; it doesn't wait for the server's.
    Status process();
    Status idleWork() { return kex_ ? kex_->idleWork() : Status(); }
    ByteQueue& incoming() { return codec_.input(); }
    ByteQueue& outgoing() { return codec_.output(); }
    // Bytes that wait to be taken out of `outgoing()`, or for the end of a key exchange to get there.
    std::size_t unsent() { return outgoing().size() + heldBytes_; }

    // Keys are in use both ways, and user authentication has been asked for.
    bool established() const { return kex_ && kex_->established(); }
    Status authenticate(Credentials credentials);
    const UserAuth& auth() const { return auth_; }
    ChannelTable& channels() { return channels_; } // Once the user is logged in.
    Status exchangeKeys() { return kex_ ? kex_->start() : Status(); }
    bool exchangingKeys() const { return kex_ && kex_->going(); }
    void disconnect(); // Tells the server that we go.

    const std::string& serverVersion() const { return serverVersion_; }
    const KeyExchange* keyExchange() const { return kex_.get(); } // Null before the server's version line.

private:
    Result<bool> takeVersionLine(); // Whether all of it has come.
    Status receive(ByteView payload);
    Status receiveTransport(ByteView payload);
    Status receiveExtensions(ByteView body);
    Status send(ByteView head, ByteView body);
    Status flushHeld();

    Setup setup_;
    PacketCodec codec_;
    std::string serverVersion_;
    std::unique_ptr<KeyExchange> kex_;
    UserAuth auth_;
    ChannelTable channels_;
    std::deque<Bytes> held_; // Messages that wait for the end of a key exchange.
    std::size_t heldBytes_ = 0; // Of memory that they take.
    bool serviceRequested_ = false;
    bool loggedIn_ = false;
};

} // namespace ssh
