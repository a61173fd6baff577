#pragma once

#include "platform/TemporaryFolder.h"
#include "platform/files/Descriptor.h"
#include "ssh/crypto/KeyAgreement.h"
#include "ssh/crypto/PrivateKey.h"
#include "ssh/transport/Algorithms.h"
#include "ssh/transport/PacketCodec.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

// A small SSH server for one test, which chooses what it is told to and misbehaves on demand. The packet
// codec and the key agreements are the client's own in the other role; what they agree on with OpenSSH is
// checked elsewhere.
namespace peer {

struct Options {
    std::string version = "SSH-2.0-Peer_1.0";
    ssh::AlgorithmOffer offer = { // One name in a list makes the choice.
        {"curve25519-sha256@libssh.org"}, {"ssh-rsa"}, {"aes256-ctr"}, {"hmac-sha2-256"}, {"none"}};
    std::string signatureAlgorithms; // Sent as extension info, unless empty.
    std::optional<ssh::DhGroup> group; // Instead of a fixed one, for the group exchange.
    std::vector<std::string> authMethods = {"password"};
    std::string password = "secret";
    std::vector<std::pair<std::string, bool>> prompts = {{"Password: ", false}}; // With "may be shown".
    std::vector<std::string> answers; // To the prompts; the password to those that aren't shown unless set.
    std::vector<std::string> alsoWants; // Methods that must follow the first, in this order.
    std::vector<std::string> keys; // Types of the keys that it takes; all of them when it is empty.
    std::chrono::milliseconds approval{0}; // How long it is silent before it takes answers to prompts.
    std::uint32_t window = 1 << 20; // For what the client sends.
    int sftpVersion = 3;
    std::uint32_t mostRead = 1 << 20; // Bytes given for one read request.
    bool guesses = false; // Sends a first packet for a key exchange that isn't chosen.
    bool reversed = false; // Answers what has come in the opposite order, when there is nothing left to read.
    bool chatters = false; // Says nothing of any use before its first key exchange,
    bool floods = false; // or begins one after the login that it never ends, with requests in between.
    std::map<std::string, std::string> files; // What SFTP shows; a path that ends in "/" is a directory.
    std::string output = "output\n"; // Of every command but "cat", which gives its input back.

    std::uint8_t slipsInBefore = 0; // Sends `slip`, which means nothing, before each message of this number.
    ssh::Bytes slip = {2, 0, 0, 0, 0};
    // May change a payload before it is sent, or leave it empty to send nothing.
    std::function<void(ssh::Bytes&)> onSend;
    // Bytes on the wire, counted from the first: where the stream is cut, stalls, or has a bit turned round.
    std::optional<std::size_t> cutAt, stallAt, flipAt;
};

struct Seen {
    std::string clientVersion;
    bool toldToGo = false; // The client has said that it disconnects.
    std::uint32_t window = 0; // That the channel was opened with, and its longest packet.
    std::uint32_t packet = 0;
    std::size_t mostWritten = 0; // By one request.
    std::size_t examined = 0; // Requests for attributes.
    std::size_t mostReplies = 0; // That were under way at the same time.
    std::vector<std::string> authRequests; // Methods, in order; one with a key is followed by its algorithm.
    std::uint64_t windowTotal = 0; // All room the client gave on its channel.
    std::map<std::string, std::string> files; // As they are at the end.
    std::uint32_t permissions = 0; // Last set.
};

// Serves one connection after the other, until the object goes; each client must end its connection before.
class Peer {
public:
    explicit Peer(Options options);
    ~Peer();
    int port() const { return port_; }
    Seen seen(); // In the last connection that has ended.
    std::size_t bytesSent() const { return bytesSent_; } // On the last connection.

private:
    void serve();

    Options options_;
    int port_ = 0;
    platform::Descriptor listener_;
    std::mutex lock_;
    Seen seen_;
    std::atomic<std::size_t> bytesSent_{0};
    std::thread thread_;
};

// A client that is logged in to a peer of its own.
template <typename Client>
struct Session {
    explicit Session(const Options& options, const std::function<void(Client&)>& change = nullptr,
        const std::function<bool(Client&)>& logIn = nullptr)
        : peer(options)
    {
        client.setKnownHostsFile(folder / "known_hosts");
        client.setIdleTimeoutMs(20000);
        if (change)
            change(client);
        ready = client.Connect("127.0.0.1", peer.port())
            && (logIn ? logIn(client) : client.AuthenticatePw("user", "secret"));
    }
    // Ends the session; what the peer saw in it.
    Seen seen()
    {
        client.Disconnect();
        while (peer.seen().clientVersion.empty())
            std::this_thread::yield();
        return peer.seen();
    }

    TemporaryFolder folder;
    Peer peer;
    Client client;
    bool ready;
};

// The host key of a type, made once for a process by ssh-keygen.
const ssh::PrivateKey& keyOfType(const std::string& type);

} // namespace peer
