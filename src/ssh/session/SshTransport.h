#pragma once

#include "ssh/session/ChannelHost.h"
#include "ssh/session/SshProtocol.h"
#include "ssh/transport/KnownHosts.h"
#include "ssh/transport/Socket.h"

namespace ssh {

// To be set before connecting. ClsSsh and ClsSFtp have different defaults.
struct TransportSettings {
    std::chrono::milliseconds connectLimit{30000}; // For name look-up, TCP connect and handshake together.
    std::chrono::milliseconds idleLimit{30000}; // For silence during a later call; 0 means six hours.
    std::string clientVersion = "SSH-2.0-PuTTY_Release_0.63";
    std::string knownHosts; // Path; empty for the user's own file.
    bool trustsNewHosts = true; // A host that is met for the first time, whatever its key;
    std::string trustedFingerprint; // else one with this key alone.
    AlgorithmSettings algorithms;
    std::uint32_t initialWindow = 0x50000; // Bytes; of a channel as it is opened.
    std::uint32_t openWindow = 0; // Bytes; the window is widened to this as soon as the channel is open.
    std::uint32_t maximumPacket = 32768;
    bool keepAlive = false; // Asks a silent server for an answer, which counts as life.
    // For silence while a person approves a login elsewhere; the idle limit unless it is longer.
    std::chrono::milliseconds approvalLimit{0};
};

// SshProtocol on a socket: connects, logs in, opens channels, and sends and receives while a call waits. A
// connection waits nowhere else, and always with a time limit. One thread at a time; objects are independent
// of each other.
class SshTransport : public ChannelHost {
public:
    using Log = std::function<void(const std::string&)>;
    SshTransport(TransportSettings settings, Log log);
    ~SshTransport() override;

    // TCP connect, version exchange and key exchange, within the connect limit.
    Status connect(const std::string& host, int port);
    // The same on a socket that `open` connects with the host.
    using Open = std::function<Result<Socket>(Deadline)>;
    Status connect(const std::string& host, int port, const Open& open);
    Status authenticate(Credentials credentials);
    const UserAuth* auth() const { return protocol_ ? &protocol_->auth() : nullptr; }
    bool authenticated() const { return protocol_ && protocol_->auth().done(); }
    bool connected() const override { return socket_.isOpen(); }
    // Ends the connection at any stage, without waiting.
    void disconnect();
    Status exchangeKeys(); // New keys; needs an established connection.

    Result<std::uint32_t> requestChannel(bool takesErrorOutput) override;
    Result<std::uint32_t> openForward(const std::string& host, int port); // RFC 4254, section 7.2.
    int descriptor() const { return socket_.descriptor(); }
    Channel* channel(std::uint32_t number) override
    {
        return protocol_ ? protocol_->channels().find(number) : nullptr;
    }
    ChannelTable& channels() override { return protocol_->channels(); }

    Status waitFor(const std::function<bool()>& done) override;
    Status waitUntil(Deadline deadline, const std::function<bool()>& done) override;
    // For a caller that waits by itself, on the descriptor: sends and receives what it can without waiting.
    Status moveWithoutWaiting();
    bool hasToSend() const { return connected() && !protocol_->outgoing().empty(); }
    Deadline lastLife() const { return lastMove_; } // When the server last showed that it lives.
    Status sendKeepAlive() { return protocol_ ? protocol_->sendKeepAlive() : Status(); }
    Status flush() override;
    std::size_t unsent() const override { return protocol_->unsent(); }
    std::uint32_t openWindow() const override { return settings_.openWindow; }

    const std::string& serverVersion() const override { return protocol_->serverVersion(); }
    bool hostKeyIsNew() const { return hostKeyIsNew_; } // The last connect recorded it.
    const KeyExchange* keyExchange() const { return protocol_ ? protocol_->keyExchange() : nullptr; }
    TransportSettings& settings() { return settings_; }

private:
    enum class Progress { Moved, TimedOut };
    Result<Progress> moveBytes(Deadline deadline);
    Status takeAvailable(const Status& sent, bool wasBlocked, std::uint64_t writtenBefore);
    Error endOfServer();
    void noteMove();
    Status readAvailable();
    Status acceptHostKey(
        const KnownHosts& knownHosts, const std::string& host, int port, const PublicKey& key);
    Status handshake(Deadline deadline);
    Status waitWithin(
        const std::function<std::chrono::milliseconds()>& limit, const std::function<bool()>& done);
    Deadline nextProbe() const;
    Status probe();
    Status fail(Error error);
    std::chrono::milliseconds idleLimit() const;

    TransportSettings settings_;
    Log log_;
    Socket socket_;
    std::unique_ptr<SshProtocol> protocol_;
    bool ended_ = false; // The server has closed its side.
    bool hostKeyIsNew_ = false;
    bool socketWasFull_ = false; // After the last moveWithoutWaiting().
    std::uint64_t written_ = 0; // Bytes that the socket has accepted.
    // The server has shown life since this was last cleared: it has sent bytes, or a full socket has room
    // again. Bytes that go into an empty socket prove nothing.
    bool moved_ = false;
    Deadline lastMove_{}; // When it did so last.
    Deadline lastProbe_{}; // When it was last asked for an answer.
};

} // namespace ssh
