#pragma once

#include "ssh/session/Channel.h"
#include "ssh/session/UserAuth.h"
#include "ssh/transport/KeyExchange.h"

#include <deque>

namespace ssh {

// The client's end of an SSH connection without a socket: RFC 4253 and the layers above. `process()` handles
// the bytes in `incoming()`; bytes to be sent go to `outgoing()`. Never waits and knows no clock. After a
// failure it can't go on.
class SshProtocol {
public:
    struct Setup {
        std::string clientVersion; // Without line end.
        AlgorithmSettings algorithms;
        std::function<Status(const PublicKey&)> acceptHostKey;
        std::function<void(const std::string&)> log;
    };
    explicit SshProtocol(Setup setup);

    Status start(); // Sends our version line, without waiting for the server's.
    Status process();
    Status idleWork() { return kex_ ? kex_->idleWork() : Status(); }
    ByteQueue& incoming() { return codec_.input(); }
    ByteQueue& outgoing() { return codec_.output(); }
    // Bytes in `outgoing()` and those that a key exchange holds back.
    std::size_t unsent() { return outgoing().size() + heldBytes_; }

    // Keys are in use in both directions, and user authentication has been requested.
    bool established() const { return kex_ && kex_->established(); }
    Status authenticate(Credentials credentials);
    const UserAuth& auth() const { return auth_; }
    ChannelTable& channels() { return channels_; } // For use after the login.
    // Asks the server for an answer of any kind, after the login.
    Status sendKeepAlive();
    Status exchangeKeys() { return kex_ ? kex_->start() : Status(); }
    bool exchangingKeys() const { return kex_ && kex_->going(); }
    void disconnect(); // Queues the message that ends the connection.

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
    std::deque<Bytes> held_; // Messages held back by a key exchange.
    std::size_t heldBytes_ = 0; // Memory that these take.
    bool serviceRequested_ = false;
    bool loggedIn_ = false;
};

} // namespace ssh
