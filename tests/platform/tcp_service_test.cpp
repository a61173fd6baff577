// Two programs at a TCP port: who is let in, and who is turned away.

#include "platform/service/TcpService.h"

#include "platform/Loopback.h"
#include "platform/loop/MainLoop.h"
#include "platform/service/SecretProof.h"
#include "platform/service/ServiceMessages.h"

#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace {

using platform::MainLoop;
using platform::SecretProof;
using platform::ServiceConnection;
using platform::TcpService;
using platform::Value;
using Side = SecretProof::Side;

const std::string kSecret = "0123456789abcdef";

// Runs both sides against each other; whether both were content. The tampering sees every flight of bytes.
bool agree(
    const std::string& one, const std::string& other,
    const std::function<void(int flight, std::string&)>& tamper = [](int, std::string&) {})
{
    SecretProof connecting(Side::Connecting, one);
    SecretProof listening(Side::Listening, other);
    SecretProof* from = &connecting;
    SecretProof* to = &listening;
    for (int flight = 0; flight < 3; ++flight, std::swap(from, to)) {
        std::string bytes = from->takeBytesToSend();
        tamper(flight, bytes);
        if (!to->take(bytes))
            return false;
    }
    return connecting.bytesWanted() == 0 && listening.bytesWanted() == 0;
}

TEST(SecretProof, NeedsTheSameSecretAndEveryByte)
{
    EXPECT_TRUE(agree(kSecret, kSecret));
    EXPECT_FALSE(agree(kSecret, kSecret + " "));
    EXPECT_NE(SecretProof::makeSecret(), SecretProof::makeSecret());
    for (const auto& [flight, size] : {std::pair(0, 40U), std::pair(1, 72U), std::pair(2, 32U)})
        for (std::size_t place = 0; place < size; ++place)
            EXPECT_FALSE(agree(kSecret, kSecret,
                [&, wanted = flight](int now, std::string& bytes) {
                    if (now == wanted)
                        bytes[place] = static_cast<char>(bytes[place] ^ 1);
                }))
                << flight << " " << place;
    // The proof of one side sent back is no proof, even with the nonces exchanged.
    SecretProof connecting(Side::Connecting, kSecret);
    SecretProof mirror(Side::Listening, kSecret);
    const std::string hello = connecting.takeBytesToSend();
    ASSERT_TRUE(mirror.take(hello));
    const std::string answer = mirror.takeBytesToSend();
    EXPECT_FALSE(mirror.take(answer.substr(40)));
    EXPECT_FALSE(connecting.take(hello + answer.substr(40)));
}

struct TcpServiceTest : testing::Test {
    void offer(const std::optional<std::string>& secret)
    {
        auto offered = TcpService::offer("127.0.0.1", 0, secret, [this](auto connection) {
            connection->setHandler([this](const std::string& operation, const Value& argument) {
                heard += operation + " ";
                return argument;
            });
            connections.push_back(std::move(connection));
        });
        ASSERT_TRUE(offered) << offered.error().text;
        service = std::move(*offered);
    }
    // The service's side has to be served while this thread's loop waits in a call of the other side.
    std::string outcome(const std::optional<std::string>& secret, double limit = 20)
    {
        std::string words;
        bool over = false;
        const int port = service->port();
        std::thread other([&] {
            platform::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
            timeval patience{static_cast<time_t>(limit), 0};
            ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
            const sockaddr_in address = loopback(port);
            words = talk(socket, reinterpret_cast<const sockaddr*>(&address), secret);
            MainLoop::main().post([&] { over = true; });
        });
        MainLoop::main().runUntil([&] { return over; }, 60);
        other.join();
        return words;
    }
    static std::string talk(
        const platform::Descriptor& socket, const sockaddr* address, const std::optional<std::string>& secret)
    {
        if (::connect(socket.get(), address, sizeof(sockaddr_in)) != 0)
            return "not connected";
        if (secret) {
            SecretProof proof(Side::Connecting, *secret);
            for (std::string bytes = proof.takeBytesToSend(); !bytes.empty();
                 bytes = proof.takeBytesToSend()) {
                for (const char byte : bytes) // The other side puts the pieces together.
                    if (::send(socket.get(), &byte, 1, MSG_NOSIGNAL) != 1)
                        return "ended";
                std::string answer(proof.bytesWanted(), '\0');
                if (answer.empty())
                    break;
                if (::recv(socket.get(), answer.data(), answer.size(), MSG_WAITALL)
                    != static_cast<ssize_t>(answer.size()))
                    return "ended";
                if (const auto status = proof.take(answer); !status)
                    return status.error().text;
            }
        }
        const std::string message =
            *platform::encode({platform::ServiceMessage::Kind::Call, 1, "ask", Value("x")});
        if (!platform::writeAll(socket.get(), message))
            return "ended";
        char byte = 0;
        return ::recv(socket.get(), &byte, 1, 0) == 1 ? "answered" : "ended";
    }

    std::vector<std::unique_ptr<ServiceConnection>> connections;
    std::string heard;
    std::unique_ptr<TcpService> service;
};

TEST_F(TcpServiceTest, LetsInOnlyThoseThatKnowTheSecret)
{
    offer(kSecret);
    EXPECT_EQ(outcome(kSecret), "answered");
    EXPECT_EQ(outcome("another secret 00"), "the other side does not know the secret");
    EXPECT_EQ(outcome(std::nullopt), "ended");
    EXPECT_EQ(heard, "ask ");
    EXPECT_EQ(connections.size(), 1U);
    EXPECT_FALSE(TcpService::offer("127.0.0.1", service->port(), {}, {})) << "the port is taken";
    EXPECT_FALSE(TcpService::offer("nowhere", 0, {}, {}));
    offer(std::nullopt);
    EXPECT_EQ(outcome(std::nullopt), "answered");
}

TEST_F(TcpServiceTest, ConnectingEndsInTimeWhateverTheOtherSideDoes)
{
    int port = 0;
    auto silent = listenOnLoopback(port);
    const double before = platform::monotonicSeconds();
    const auto late = ServiceConnection::connectTcp("127.0.0.1", port, kSecret, 0.05);
    ASSERT_FALSE(late);
    EXPECT_EQ(late.error().text, "the other side did not prove in time that it knows the secret");
    EXPECT_LT(platform::monotonicSeconds() - before, 20);
    const auto unproved = ServiceConnection::connectTcp("127.0.0.1", port, std::nullopt, 20);
    ASSERT_TRUE(unproved);
    (*unproved)->setTimeLimit(0.05);
    EXPECT_EQ((*unproved)->call("ask", Value()).error(), platform::ServiceFailure::TimeLimit);
    silent.reset();
    for (const auto& [host, wrong, words] :
        {std::tuple("127.0.0.1", port, "Connection refused"), std::tuple("127.0.0.1", 0, "no such port"),
            std::tuple("127.0.0.1", 70000, "no such port"), std::tuple("a..b", port, "not known")}) {
        const auto failed = ServiceConnection::connectTcp(host, wrong, kSecret, 10);
        ASSERT_FALSE(failed);
        EXPECT_NE(failed.error().text.find(words), std::string::npos) << failed.error().text;
    }
    // A stranger's words instead of a proof.
    silent = listenOnLoopback(port);
    std::thread stranger([&] {
        const platform::Descriptor socket(::accept(silent.get(), nullptr, nullptr));
        EXPECT_TRUE(platform::writeAll(socket.get(), std::string(100, 'x')));
        char byte = 0;
        while (::read(socket.get(), &byte, 1) > 0) { }
    });
    EXPECT_EQ(ServiceConnection::connectTcp("127.0.0.1", port, kSecret, 20).error().text,
        "the other side does not begin with the proof of a secret");
    stranger.join();
}

} // namespace
