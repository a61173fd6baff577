#include "ssh/Peer.h"
#include "ssh/Support.h"
#include "ssh/session/CkoSsh.h"
#include "ssh/sftp/CkoSFtp.h"

#include <gmock/gmock.h>

using namespace ssh;
using testing::HasSubstr;

namespace {

constexpr const char* kContent = "content of the file";
constexpr int kLimit = 300; // Milliseconds, for connecting and for silence.
constexpr auto kSlack = std::chrono::seconds(3); // For a busy machine, and sanitizers.

struct Hostile : testing::Test {
    // A whole session with a download; null when it succeeded, else the reason. Either comes in time.
    std::optional<std::string> session(const peer::Options& options)
    {
        const auto start = std::chrono::steady_clock::now();
        peer::Session<CkoSFtp> with(options, [](CkoSFtp& sftp) {
            sftp.setConnectTimeoutMs(kLimit);
            sftp.setIdleTimeoutMs(kLimit);
        });
        CkoSFtp& sftp = with.client;
        const std::string local = with.folder / "local";
        const bool good = with.ready && sftp.InitializeSftp() && sftp.DownloadFileByName("file", local);
        taken_ = std::chrono::steady_clock::now() - start;
        EXPECT_LT(taken_, std::chrono::milliseconds(3 * kLimit) + kSlack);
        EXPECT_THAT(support::readFile(local), testing::AnyOf("", kContent));
        EXPECT_EQ(good, sftp.LastErrorText().empty());
        bytes_ = with.peer.bytesSent();
        return good ? std::nullopt : std::optional(sftp.LastErrorText());
    }
    // The bytes of a session that the client surely waits for.
    std::size_t length()
    {
        EXPECT_EQ(session(small()), std::nullopt);
        EXPECT_GT(bytes_, 1000u);
        return bytes_ - 400;
    }
    static peer::Options small()
    {
        peer::Options options;
        options.offer.hostKey = {"ssh-ed25519"};
        options.files = {{"file", kContent}};
        return options;
    }

    std::size_t bytes_ = 0;
    std::chrono::steady_clock::duration taken_{};
};

TEST_F(Hostile, ACutAfterAnyByteEndsInAFailureWithAReason)
{
    peer::Options options = small();
    int incomplete = 0;
    const std::size_t end = length();
    for (std::size_t at = 0; at < end; ++at) {
        options.cutAt = at;
        const auto reason = session(options);
        ASSERT_TRUE(reason) << at;
        incomplete += reason->find("incomplete packet received") != std::string::npos ? 1 : 0;
    }
    EXPECT_GT(incomplete, 100);
}

// Whatever bit is turned round, wrong data is never taken for right. Padding before the first keys is the
// only thing that nothing protects.
TEST_F(Hostile, ATurnedBitNeverPassesForData)
{
    peer::Options options = small();
    int survived = 0;
    const std::size_t end = length();
    for (std::size_t at = 0; at < end; at += 3) {
        options.flipAt = at;
        survived += session(options) ? 0 : 1;
    }
    EXPECT_LT(survived, 20);
}

TEST_F(Hostile, SilenceAndChatterAtAnyStageEndWithinTheTimeLimit)
{
    peer::Options options = small();
    const std::size_t end = length();
    for (std::size_t at = 0; at < end; at += end / 25) {
        options.stallAt = at;
        EXPECT_THAT(session(options).value_or(""), HasSubstr("time limit"));
        EXPECT_GE(taken_, std::chrono::milliseconds(kLimit - 50));
    }
    // A server that keeps talking without saying anything doesn't hold the connect limit up.
    options = small();
    options.chatters = true;
    EXPECT_THAT(session(options).value_or(""), HasSubstr("connect time limit"));
}

// Answers that have to wait for the end of a key exchange don't gather without a bound.
TEST_F(Hostile, AFloodWithinAKeyExchangeEndsTheConnection)
{
    peer::Options options = small();
    options.floods = true;
    peer::Session<CkoSsh> session(options);
    CkoSsh& ssh = session.client;
    EXPECT_FALSE(ssh.SendReqExec(ssh.OpenSessionChannel(), "anything"));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("doesn't read the answers"));
}

} // namespace
