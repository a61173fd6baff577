#include "ssh/session/SshAgent.h"

#include "ssh/crypto/Wire.h"
#include "ssh/transport/Socket.h"

#include <cstdlib>

namespace ssh::sshagent {

namespace {

// Message numbers of the agent's protocol.
constexpr std::uint8_t kRequestIdentities = 11;
constexpr std::uint8_t kIdentitiesAnswer = 12;
constexpr std::uint8_t kSignRequest = 13;
constexpr std::uint8_t kSignResponse = 14;
// Flags of a signature by an RSA key.
constexpr std::uint32_t kRsaSha256 = 2;
constexpr std::uint32_t kRsaSha512 = 4;

constexpr std::size_t kLongestMessage = std::size_t{256} * 1024;
constexpr std::size_t kAgentReadSize = 4096;
constexpr std::chrono::seconds kListLimit{5};
constexpr std::chrono::seconds kSignLimit{60};

const Error kDamagedAnswer{"The key agent sent a damaged answer."};

Status sendRequest(Socket& socket, ByteView bytes, Deadline deadline)
{
    while (!bytes.empty()) {
        const auto written = socket.write(bytes);
        if (!written.ok())
            return written.error();
        bytes = bytes.subspan(*written);
        if (bytes.empty())
            break;
        const auto event = socket.wait(true, deadline);
        if (!event.ok())
            return event.error();
        if (*event == Socket::Event::TimedOut)
            return Error{"The key agent doesn't take a request."};
    }
    return {};
}

Result<Bytes> receiveMessage(Socket& socket, Deadline deadline)
{
    ByteQueue received;
    for (;;) {
        const std::size_t length = received.size() < 4 ? 0 : loadUint32(received.data());
        if (length > kLongestMessage)
            return kDamagedAnswer;
        if (received.size() >= 4 && received.size() - 4 >= length)
            return copyOf(received.view().subspan(4, length));
        const auto event = socket.wait(false, deadline);
        if (!event.ok())
            return event.error();
        if (*event == Socket::Event::TimedOut)
            return Error{"The key agent doesn't answer."};
        const auto got = socket.read({received.prepare(kAgentReadSize), kAgentReadSize});
        if (!got.ok())
            return got.error();
        if (got->ended)
            return Error{"The key agent ended the connection."};
        received.commit(got->count);
    }
}

// The answer to a request, behind its number.
Result<Bytes> askAgent(const std::string& socketPath, const WireWriter& request, std::uint8_t expected,
    std::chrono::seconds limit)
{
    const Deadline deadline = Clock::now() + limit;
    auto socket = Socket::connectLocal(socketPath);
    if (!socket.ok())
        return socket.error();
    if (Status sent = sendRequest(*socket, WireWriter().string(ByteView(request)), deadline); !sent.ok())
        return sent.error();
    auto answer = receiveMessage(*socket, deadline);
    if (!answer.ok())
        return answer;
    if (answer->empty() || answer->front() != expected)
        return Error{"The key agent refused the request."};
    answer->erase(answer->begin());
    return answer;
}

class AgentKey final : public SigningKey {
public:
    AgentKey(std::string socketPath, PublicKey key) : socketPath_(std::move(socketPath)), key_(std::move(key))
    { }
    const std::string& type() const override { return key_.type(); }
    const Bytes& publicBlob() const override { return key_.blob(); }
    Result<Bytes> sign(const SignatureInfo& algorithm, ByteView data) const override
    {
        if (algorithm.keyType != type())
            return Error{
                "The key can't make signatures of the kind \"" + std::string(algorithm.name) + "\"."};
        const std::uint32_t flags = algorithm.name == "rsa-sha2-512" ? kRsaSha512
            : algorithm.name == "rsa-sha2-256"                       ? kRsaSha256
                                                                     : 0;
        WireWriter request(kSignRequest);
        request.string(publicBlob()).string(data).uint32(flags);
        const auto answer = askAgent(socketPath_, request, kSignResponse, kSignLimit);
        if (!answer.ok())
            return answer;
        WireReader reader(*answer);
        const ByteView signature = reader.string();
        // A signature of another kind than asked for would only be refused by the server.
        if (!reader.ok() || !key_.verify(algorithm, signature, data).ok())
            return Error{"The key agent made a signature that is wrong."};
        return copyOf(signature);
    }

private:
    const std::string socketPath_;
    const PublicKey key_;
};

} // namespace

std::string usualSocket()
{
    const char* path = std::getenv("SSH_AUTH_SOCK");
    return path ? path : "";
}

Result<std::vector<std::shared_ptr<const SigningKey>>> keys(const std::string& socketPath)
{
    const auto answer = askAgent(socketPath, WireWriter(kRequestIdentities), kIdentitiesAnswer, kListLimit);
    if (!answer.ok())
        return answer.error();
    WireReader reader(*answer);
    std::vector<std::shared_ptr<const SigningKey>> keys;
    for (std::uint32_t left = reader.uint32(); left > 0 && reader.ok(); --left) {
        const ByteView blob = reader.string();
        reader.string(); // A comment.
        auto key = PublicKey::parse(blob);
        if (reader.ok() && key.ok()) // Certificates and hardware keys aren't understood.
            keys.push_back(std::make_shared<AgentKey>(socketPath, std::move(*key)));
    }
    if (!reader.ok())
        return kDamagedAnswer;
    return keys;
}

} // namespace ssh::sshagent
