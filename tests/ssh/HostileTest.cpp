#include "ssh/CkoSFtp.h"
#include "ssh/CkoSsh.h"
#include "ssh/Messages.h"
#include "ssh/Peer.h"
#include "ssh/Support.h"
#include "ssh/Wire.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

using namespace ssh;
using testing::HasSubstr;

namespace {

constexpr int kLimit = 300; // Milliseconds, for connecting and for silence.
constexpr auto kSlack = std::chrono::seconds(3); // For a busy machine, and sanitizers.

class Hostile : public testing::Test {
protected:
    // A whole session with a download; null when it succeeded, else the reason.
    std::optional<std::string> session(const peer::Options& options, std::size_t* bytes = nullptr)
    {
        peer::Peer server(options);
        CkoSFtp sftp;
        sftp.setKnownHostsFile(folder_ / "known_hosts");
        sftp.setConnectTimeoutMs(kLimit);
        sftp.setIdleTimeoutMs(kLimit);
        const bool good = sftp.Connect("127.0.0.1", server.port()) && sftp.AuthenticatePw("user", "secret")
            && sftp.InitializeSftp() && sftp.DownloadFileByName("file", folder_ / "local");
        if (bytes)
            *bytes = server.bytesSent();
        if (good)
            return std::nullopt;
        EXPECT_FALSE(sftp.LastErrorText().empty());
        return sftp.LastErrorText();
    }
    static peer::Options small()
    {
        peer::Options options;
        options.offer.hostKey = {"ssh-ed25519"};
        options.files = {{"file", "content of the file"}};
        return options;
    }

    support::TemporaryFolder folder_;
};

TEST_F(Hostile, ACutAfterAnyByteEndsInAFailureWithAReason)
{
    std::size_t total = 0;
    ASSERT_EQ(session(small(), &total), std::nullopt);
    ASSERT_GT(total, 500u);
    peer::Options options = small();
    int incomplete = 0;
    std::size_t at = 0;
    for (;; ++at) {
        options.cutAt = at;
        const auto start = std::chrono::steady_clock::now();
        const auto reason = session(options);
        EXPECT_LT(std::chrono::steady_clock::now() - start, kSlack);
        if (!reason)
            break; // All of the file has come; the replies after it aren't waited for.
        incomplete += reason->find("incomplete packet received") != std::string::npos ? 1 : 0;
    }
    EXPECT_GT(at, total - 400);
    EXPECT_EQ(support::readFile(folder_ / "local"), "content of the file");
    EXPECT_GT(incomplete, 100);
}

// Whatever bit is turned round, wrong data is never taken for right. Padding before the first keys is the
// only thing that nothing protects.
TEST_F(Hostile, ATurnedBitNeverPassesForData)
{
    std::size_t total = 0;
    ASSERT_EQ(session(small(), &total), std::nullopt);
    peer::Options options = small();
    int survived = 0;
    for (std::size_t at = 0; at < total - 400; at += 3) { // What comes later may not be waited for.
        options.flipAt = at;
        support::writeFile(folder_ / "known_hosts", "");
        const auto start = std::chrono::steady_clock::now();
        const auto reason = session(options);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 2 * kSlack);
        survived += reason ? 0 : 1;
        if (!reason) {
            EXPECT_EQ(support::readFile(folder_ / "local"), "content of the file");
        }
    }
    EXPECT_LT(survived, 20);
}

TEST_F(Hostile, SilenceAtAnyStageEndsWithinTheTimeLimit)
{
    std::size_t total = 0;
    ASSERT_EQ(session(small(), &total), std::nullopt);
    peer::Options options = small();
    for (std::size_t at = 0; at < total - 400; at += total / 25) {
        options.stallAt = at;
        const auto start = std::chrono::steady_clock::now();
        const auto reason = session(options);
        const auto taken = std::chrono::steady_clock::now() - start;
        ASSERT_TRUE(reason);
        EXPECT_THAT(*reason, HasSubstr("time limit"));
        EXPECT_GE(taken, std::chrono::milliseconds(kLimit - 50));
        EXPECT_LT(taken, std::chrono::milliseconds(kLimit) + kSlack);
    }
}

// Accepts one connection and hands it to `talk`; the other end of the conversation is the test's.
class RawServer {
public:
    explicit RawServer(std::function<void(int)> talk) : listener_(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
        listen(listener_, 1);
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
        thread_ = std::thread([this, talk] {
            const int socket = accept(listener_, nullptr, nullptr);
            talk(socket);
            close(socket);
        });
    }
    ~RawServer()
    {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    int port = 0;

private:
    int listener_;
    std::thread thread_;
};

// A server that keeps talking without saying anything doesn't hold the connect limit up.
TEST_F(Hostile, ChatterDoesNotHoldTheConnectLimitUp)
{
    RawServer server([](int socket) {
        PacketCodec codec;
        codec.output().append(viewOf("SSH-2.0-Chatter\r\n"));
        const WireWriter ignored = std::move(WireWriter(message::kIgnore).string("bla"));
        while (send(socket, codec.output().view().data(), codec.output().size(), MSG_NOSIGNAL) > 0) {
            codec.output().clear();
            EXPECT_TRUE(codec.seal(ignored).ok());
            usleep(20000);
        }
    });
    CkoSsh ssh;
    ssh.setKnownHostsFile(folder_ / "known_hosts");
    ssh.setConnectTimeoutMs(kLimit);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(ssh.Connect("127.0.0.1", server.port));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kLimit) + kSlack);
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("connect time limit"));
}

// Messages that a server has no right to send, at the moment of the answer to a command.
TEST_F(Hostile, MessagesOutOfPlaceEndTheConnectionWithAReason)
{
    const auto data = [](std::size_t size) {
        return WireWriter(message::kChannelData).uint32(0).string(Bytes(size)).take();
    };
    const struct {
        Bytes payload;
        std::size_t times;
        const char* reason;
    } cases[] = {
        {data(200000), 30, "more data than the channel's window"}, // Beyond the widened window.
        {WireWriter(message::kChannelData).uint32(9).string("x").take(), 1, "isn't there"},
        {WireWriter(message::kChannelData).uint32(0).uint32(50).take(), 1, "damaged channel message"},
        {WireWriter(message::kChannelWindowAdjust).uint32(0).uint32(0xffffffff).take(), 1, "damaged"},
        {WireWriter(message::kChannelOpenConfirmation).uint32(0).uint32(0).uint32(0).uint32(0).take(), 1,
            "out of turn"},
        {WireWriter(message::kChannelRequest).uint32(0).string("exit-status").boolean(false).take(), 1,
            "damaged"},
        {WireWriter(message::kGlobalRequest).take(), 1, "damaged"},
        {WireWriter(message::kKexDhReply).take(), 1, "out of turn"},
        {WireWriter(message::kNewKeys).take(), 1, "out of turn"},
        {WireWriter(message::kKexInit).take(), 1, "damaged key exchange"},
        {WireWriter(message::kUnimplemented).uint32(0).take(), 1, "didn't understand"},
        {WireWriter(message::kExtInfo).uint32(1000000).take(), 1, "damaged extension info"},
        {WireWriter(message::kChannelClose).uint32(0).take(), 2, "has closed"},
        {WireWriter(126).uint32(0).take(), 1, "unknown kind"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.reason);
        peer::Options options = small();
        bool sent = false;
        std::size_t left = 0;
        options.output = std::string(8192 * 40, 'x'); // Gives the peer something to send instead.
        options.onSend = [&](Bytes& payload) {
            if (payload[0] == message::kChannelSuccess && !std::exchange(sent, true))
                left = row.times;
            else if (left > 0 && payload[0] == message::kChannelData && left-- > 0)
                payload = row.payload;
        };
        peer::Peer server(options);
        CkoSsh ssh;
        ssh.setKnownHostsFile(folder_ / "known_hosts");
        ssh.setIdleTimeoutMs(kLimit);
        ASSERT_TRUE(ssh.Connect("127.0.0.1", server.port()) && ssh.AuthenticatePw("user", "secret"));
        const int channel = ssh.OpenSessionChannel();
        ASSERT_GE(channel, 0);
        if (ssh.SendReqExec(channel, "anything"))
            for (int i = 0; i < 200 && ssh.ChannelReadAndPoll(channel, 50) >= 0; ++i)
                if (ssh.ChannelReceivedClose(channel))
                    break;
        EXPECT_LT(ssh.OpenSessionChannel(), 0);
        EXPECT_THAT(ssh.SessionLog(), HasSubstr(row.reason));
    }
}

// Before the login, and before the keys, nothing of the later stages is listened to.
TEST_F(Hostile, StagesCanNotBeSkipped)
{
    const struct {
        std::uint8_t before; // This message is replaced by the next.
        Bytes payload;
        const char* reason;
    } cases[] = {
        {message::kKexDhReply, WireWriter(message::kUserauthSuccess).take(), "before its first key exchange"},
        {message::kKexDhReply, WireWriter(message::kServiceAccept).string("ssh-userauth").take(),
            "before its first"},
        {message::kKexDhReply, WireWriter(message::kChannelData).uint32(0).string("x").take(),
            "before its first"},
        {message::kKexDhReply, WireWriter(message::kNewKeys).take(), "out of turn"},
        {message::kServiceAccept, WireWriter(message::kUserauthSuccess).take(), "out of turn"},
        {message::kUserauthFailure, WireWriter(message::kChannelOpenConfirmation).uint32(0).take(),
            "before the login"},
        {message::kUserauthFailure, WireWriter(message::kUserauthInfoRequest).take(), "out of turn"},
        {message::kUserauthFailure, WireWriter(message::kUserauthFailure).uint32(99).take(), "damaged login"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.reason);
        peer::Options options = small();
        options.onSend = [&](Bytes& payload) {
            if (payload[0] == row.before)
                payload = row.payload;
        };
        const auto reason = session(options);
        ASSERT_TRUE(reason);
        EXPECT_THAT(*reason, HasSubstr(row.reason));
    }
}

TEST_F(Hostile, AHalfOpenConnectionCanBeDroppedAndAPortWithNobodyTellsSo)
{
    CkoSsh untouched;
    untouched.Disconnect();
    peer::Options options = small();
    options.stallAt = 0;
    peer::Peer server(options);
    CkoSsh ssh;
    ssh.setKnownHostsFile(folder_ / "known_hosts");
    ssh.setConnectTimeoutMs(kLimit);
    EXPECT_FALSE(ssh.Connect("127.0.0.1", server.port()));
    ssh.Disconnect();
    ssh.Disconnect();
    const int port = std::make_unique<peer::Peer>(small())->port();
    EXPECT_FALSE(ssh.Connect("127.0.0.1", port));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("refused"));
    ssh.setConnectTimeoutMs(kLimit);
    EXPECT_FALSE(ssh.Connect("192.0.2.1", 22)); // RFC 5737: an address that nobody has.
}

} // namespace
