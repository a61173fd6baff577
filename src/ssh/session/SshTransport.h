#pragma once

#include "ssh/session/ChannelHost.h"
#include "ssh/session/SshProtocol.h"
#include "ssh/transport/KnownHosts.h"
#include "ssh/transport/Socket.h"

namespace ssh {

// What the owner of a connection settles before connecting. The two client classes differ in their defaults.
struct TransportSettings {
    std::chrono::milliseconds connectLimit{30000}; // On TCP connect and key exchange together.
    std::chrono::milliseconds idleLimit{30000}; // On silence during a later call; 0 stands for six hours.
    std::string clientVersion = "SSH-2.0-PuTTY_Release_0.63";
    std::string knownHosts; // Path; empty for the user's own file.
    AlgorithmSettings algorithms;
    std::uint32_t initialWindow = 0x50000; // Bytes, of a channel as it is opened,
    std::uint32_t openWindow = 0; // and to what it is widened at once when it is open.
    std::uint32_t maximumPacket = 32768;
};

// The client side of SSH protocol version 2 on a socket: connects, logs in, opens channels, and moves bytes
// while somebody waits for something. All waiting of a connection happens here, with poll and a time limit.
// One thread at a time; objects are independent of each other.
class SshTransport : public ChannelHost {
public:
    using Log = std::function<void(const std::string&)>;
    SshTransport(TransportSettings settings, Log log);
    ~SshTransport() override;

    // TCP connect, version exchange and key exchange, within the connect limit.
    Status connect(const std::string& host, int port);
    Status authenticate(Credentials credentials);
    bool authenticated() const { return protocol_ && protocol_->auth().done(); }
    bool connected() const override { return socket_.isOpen(); }
    // Ends the connection at any stage. Waits for nobody.
    void disconnect();
    Status exchangeKeys(); // New keys; needs an established connection.

    Result<std::uint32_t> openChannel(bool takesErrorOutput) override;
    Channel* channel(std::uint32_t number)
    {
        return protocol_ ? protocol_->channels().find(number) : nullptr;
    }
    ChannelTable& channels() override { return protocol_->channels(); }
    // Sends the request and waits for the server's word on it.
    Status exec(Channel& channel, const std::string& command);
    Status subsystem(Channel& channel, const std::string& name);

    Status waitFor(const std::function<bool()>& done) override;
    // The same for a fixed time, and reaching it isn't a failure.
    Status waitUntil(Deadline deadline, const std::function<bool()>& done);
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
    Status readAvailable();
    Status acceptHostKey(
        const KnownHosts& knownHosts, const std::string& host, int port, const PublicKey& key);
    Status handshake(Deadline deadline);
    Status awaitAnswer(Channel& channel, const std::string& what);
    Status fail(Error error);
    std::chrono::milliseconds idleLimit() const;

    TransportSettings settings_;
    Log log_;
    Socket socket_;
    std::unique_ptr<SshProtocol> protocol_;
    bool ended_ = false; // The server sends nothing more.
    bool hostKeyIsNew_ = false;
    std::uint64_t written_ = 0; // Bytes that the system has taken from us.
    // A sign of life from the server since this was last cleared: it has sent bytes, or taken some of ours
    // after a time of taking none. What goes into an empty buffer of our own system is no sign.
    bool moved_ = false;
};

} // namespace ssh
