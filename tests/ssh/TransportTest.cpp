#include "ssh/CkoSFtp.h"
#include "ssh/CkoSsh.h"
#include "ssh/CkoSshKey.h"
#include "ssh/Messages.h"
#include "ssh/Peer.h"
#include "ssh/Support.h"
#include "ssh/Wire.h"

#include <gmock/gmock.h>

using namespace ssh;
using testing::HasSubstr;

namespace {

class Transport : public testing::Test {
protected:
    void prepare(CkoConnection& connection)
    {
        connection.setConnectTimeoutMs(20000);
        connection.setIdleTimeoutMs(20000);
        connection.setKnownHostsFile(folder_ / "known_hosts");
    }
    // Connects, logs in with the password and runs a command; its output, or the reason why not.
    std::string session(const peer::Options& options, const std::function<void(CkoSsh&)>& change = nullptr)
    {
        peer::Peer server(options);
        CkoSsh ssh;
        prepare(ssh);
        if (change)
            change(ssh);
        std::string result;
        const bool good = ssh.Connect("127.0.0.1", server.port()) && ssh.AuthenticatePw("user", "secret");
        algorithms_ = ssh.Algorithms();
        const int channel = good ? ssh.OpenSessionChannel() : -1;
        if (channel < 0 || !ssh.SendReqExec(channel, "anything"))
            return ssh.LastErrorText();
        while (!ssh.ChannelReceivedClose(channel) || ssh.ChannelReadAndPoll(channel, 0) > 0) {
            const auto data = ssh.GetReceivedDataN(channel, ssh.ChannelReadAndPoll(channel, 2000));
            result.append(data.begin(), data.end());
        }
        EXPECT_EQ(ssh.GetChannelExitStatus(channel), 5);
        ssh.Disconnect();
        return result;
    }

    support::TemporaryFolder folder_;
    std::vector<std::string> algorithms_;
};

TEST_F(Transport, SpeaksEveryEntryOfItsLists)
{
    const AlgorithmOffer all = offerFor({}, "");
    const peer::Options plain;
    const struct {
        const std::vector<std::string>& names;
        std::vector<std::string> AlgorithmOffer::*list;
        std::size_t shownAt; // Among the agreed algorithms.
    } lists[] = {
        {all.keyExchange, &AlgorithmOffer::keyExchange, 0},
        {all.hostKey, &AlgorithmOffer::hostKey, 1},
        {all.cipher, &AlgorithmOffer::cipher, 2},
        {all.mac, &AlgorithmOffer::mac, 3},
        {all.compression, &AlgorithmOffer::compression, 4},
    };
    for (const auto& [names, list, shownAt] : lists)
        for (const std::string& name : names) {
            if (name == kExtInfoClient || name == kStrictClient)
                continue;
            SCOPED_TRACE(name);
            peer::Options options = plain;
            options.offer.*list = {name};
            options.output = support::randomText(100000);
            const std::string result =
                session(options, [&](CkoSsh& ssh) { ssh.setKnownHostsFile(folder_ / name); });
            EXPECT_TRUE(result == options.output) << result.substr(0, 200);
            ASSERT_GT(algorithms_.size(), shownAt);
            EXPECT_EQ(algorithms_[shownAt], name);
        }
}

TEST_F(Transport, ExchangesKeysAgainWithinASession)
{
    for (const char* kex : {"curve25519-sha256", "diffie-hellman-group-exchange-sha256"}) {
        for (const bool strict : {false, true}) {
            peer::Options options;
            options.offer.keyExchange = {kex};
            options.offer.compression = {"zlib@openssh.com"};
            if (strict)
                options.offer.keyExchange.emplace_back(kStrictServer);
            peer::Peer server(options);
            CkoSsh ssh;
            prepare(ssh);
            EXPECT_FALSE(ssh.ReKey());
            ASSERT_TRUE(ssh.Connect("127.0.0.1", server.port())) << ssh.LastErrorText();
            EXPECT_TRUE(ssh.ReKey()) << ssh.LastErrorText();
            ASSERT_TRUE(ssh.AuthenticatePw("user", "secret")) << ssh.LastErrorText();
            EXPECT_TRUE(ssh.ReKey()) << ssh.LastErrorText();
            EXPECT_GE(ssh.OpenSessionChannel(), 0) << ssh.LastErrorText();
        }
    }
}

TEST_F(Transport, TellsWhyAVersionLineIsRefused)
{
    const struct {
        std::string line;
        const char* reason;
    } cases[] = {
        {"HTTP/1.1 400 Bad Request", "doesn't begin with \"SSH-\""},
        {"SSH-1.5-Old", "another version"},
        {"SSH-2.0-" + std::string(300, 'x'), "too long"},
        {"SS", "doesn't begin"},
    };
    for (const auto& row : cases) {
        peer::Options options;
        options.version = row.line;
        EXPECT_THAT(session(options), HasSubstr(row.reason));
    }
    peer::Options compatible;
    compatible.version = "SSH-1.99-Both";
    EXPECT_EQ(session(compatible), "output\n");
}

Bytes bigNumber(std::size_t bits)
{
    Bytes bytes(bits / 8, 0xff);
    return bytes;
}

TEST_F(Transport, RefusesGroupsThatAreNoneOrOfABadSize)
{
    const struct {
        Bytes prime;
        Bytes generator;
        const char* reason;
    } cases[] = {
        {fixedGroup(1).prime, {2}, "1024 bits"},
        {bigNumber(8200), {2}, "8200 bits"},
        {bigNumber(2048), {2}, "isn't built on a safe prime"}, // All ones: divisible by 3.
        {fixedGroup(14).prime, {1}, "generator"},
        {fixedGroup(14).prime, {}, "generator"},
        {fixedGroup(14).prime, fixedGroup(16).prime, "generator"},
    };
    for (const auto& row : cases) {
        peer::Options options;
        options.offer.keyExchange = {"diffie-hellman-group-exchange-sha256"};
        options.group = DhGroup{row.prime, row.generator};
        EXPECT_THAT(session(options), HasSubstr(row.reason));
    }
}

// Changes one field of the reply that carries the host key, the server's value and the signature.
std::function<void(Bytes&)> changeReply(std::size_t field, const Bytes& value)
{
    return [=](Bytes& payload) {
        if (payload[0] != message::kKexDhReply)
            return;
        WireReader reader(ByteView(payload).subspan(1));
        WireWriter changed(payload[0]);
        for (std::size_t i = 0; i < 3; ++i) {
            const ByteView was = reader.string();
            changed.string(i == field ? ByteView(value) : was);
        }
        payload = changed.take();
    };
}

TEST_F(Transport, RefusesDegenerateValuesAndUnprovenHostKeys)
{
    Bytes minusOne = fixedGroup(14).prime;
    minusOne.back() = static_cast<std::uint8_t>(minusOne.back() - 1);
    minusOne.insert(minusOne.begin(), 0);
    Bytes offCurve(65, 1);
    offCurve[0] = 4;
    const Bytes wrongSignature = WireWriter().string("ssh-rsa").string(Bytes(256, 1)).take();
    const Bytes swapped = WireWriter().string("rsa-sha2-512").string(Bytes(256, 1)).take();
    const struct {
        const char* kex;
        std::size_t field;
        Bytes value;
        const char* reason;
    } cases[] = {
        {"diffie-hellman-group14-sha1", 1, {}, "out of range"},
        {"diffie-hellman-group14-sha1", 1, {1}, "out of range"},
        {"diffie-hellman-group14-sha1", 1, minusOne, "out of range"},
        {"diffie-hellman-group14-sha1", 1, {0x80}, "out of range"}, // Negative.
        {"curve25519-sha256", 1, Bytes(32), "guessable"},
        {"curve25519-sha256", 1, Bytes(31, 9), "no point"},
        {"ecdh-sha2-nistp256", 1, offCurve, "no point"},
        {"ecdh-sha2-nistp256", 1, {0}, "no point"},
        {"curve25519-sha256", 1, Bytes(32, 9), "signature is wrong"},
        {"curve25519-sha256", 2, wrongSignature, "signature is wrong"},
        {"curve25519-sha256", 2, swapped, "isn't of the agreed kind"},
        {"curve25519-sha256", 2, {}, "isn't of the agreed kind"},
        {"curve25519-sha256", 0, peer::keyOfType("ssh-ed25519").publicBlob(), "isn't of the agreed kind"},
        {"curve25519-sha256", 0, {1, 2, 3}, "isn't understood"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.kex);
        peer::Options options;
        options.offer.keyExchange = {row.kex};
        options.onSend = changeReply(row.field, row.value);
        EXPECT_THAT(session(options), HasSubstr(row.reason));
        EXPECT_EQ(support::readFile(folder_ / "known_hosts"), ""); // Nothing unproven is remembered.
    }
}

// With the strict form, a message slipped in before the first keys ends the connection; without it, such
// messages are legal.
TEST_F(Transport, HoldsToTheStrictKeyExchange)
{
    for (const bool strict : {false, true}) {
        for (const std::uint8_t before : {message::kKexInit, message::kKexDhReply}) {
            int sent = 0;
            peer::Options options;
            if (strict)
                options.offer.keyExchange.emplace_back(kStrictServer);
            // The message takes the place of the one before which it would stand, which then never comes.
            options.onSend = [&](Bytes& payload) {
                if (payload[0] == before && ++sent == 1)
                    payload = WireWriter(message::kIgnore).string("x").take();
            };
            const std::string result = session(options, [](CkoSsh& ssh) { ssh.setConnectTimeoutMs(3000); });
            // Without the strict form it is the missing message that shows.
            const char* reason = before == message::kKexInit ? "connect time limit"
                : strict                                     ? "strict form forbids"
                                                             : "out of turn";
            EXPECT_THAT(result, HasSubstr(reason));
        }
    }
    peer::Options options;
    options.offer.keyExchange.emplace_back(kStrictServer);
    EXPECT_EQ(session(options), "output\n");
}

TEST_F(Transport, LogsInTheWayTheServerOffers)
{
    const struct {
        std::vector<std::string> methods;
        std::string password;
        std::vector<std::pair<std::string, bool>> prompts;
        std::vector<std::string> used;
    } cases[] = {
        {{"password", "keyboard-interactive"}, "secret", {}, {"none", "password"}},
        {{"keyboard-interactive"}, "secret", {{"Password:", false}}, {"none", "keyboard-interactive"}},
        {{"password", "keyboard-interactive"}, "", {}, {"none", "keyboard-interactive"}},
        {{"keyboard-interactive"}, "s", {{"a", false}, {"Name:", true}, {"b", false}},
            {"none", "keyboard-interactive"}},
        {{"password"}, "", {}, {"none", "password"}},
    };
    for (const auto& row : cases) {
        peer::Options options;
        options.authMethods = row.methods;
        options.password = row.password;
        options.prompts = row.prompts;
        auto server = std::make_unique<peer::Peer>(options);
        CkoSsh ssh;
        prepare(ssh);
        ASSERT_TRUE(ssh.Connect("127.0.0.1", server->port())) << ssh.LastErrorText();
        EXPECT_TRUE(ssh.AuthenticatePw("user", row.password)) << ssh.LastErrorText();
        constexpr const char* kSaid = "Password is empty. Choosing keyboard-interactive login instead.";
        EXPECT_EQ(ssh.SessionLog().find(kSaid) != std::string::npos,
            row.password.empty() && row.methods.size() == 2);
        ssh.Disconnect();
        while (server->seen().authRequests.empty()) { }
        EXPECT_EQ(server->seen().authRequests, row.used);
    }
}

TEST_F(Transport, ARefusedLoginTellsWhatTheServerOffersAndMayBeRepeated)
{
    peer::Options options;
    options.authMethods = {"password", "hostbased"};
    peer::Peer server(options);
    CkoSsh ssh;
    prepare(ssh);
    EXPECT_FALSE(ssh.AuthenticatePw("user", "secret")); // Before there is a connection.
    EXPECT_LT(ssh.OpenSessionChannel(), 0);
    ASSERT_TRUE(ssh.Connect("127.0.0.1", server.port()));
    EXPECT_FALSE(ssh.AuthenticatePw("user", "wrong"));
    EXPECT_THAT(
        ssh.LastErrorText(), HasSubstr("refused the password for user user. It offers: password,hostbased"));
    CkoSshKey key;
    ASSERT_TRUE(key.FromOpenSshPrivateKey(support::makeKeyText("ssh-ed25519")));
    EXPECT_FALSE(ssh.AuthenticatePk("user", key));
    EXPECT_FALSE(ssh.AuthenticatePk("user", CkoSshKey()));
    EXPECT_LT(ssh.OpenSessionChannel(), 0);
    EXPECT_TRUE(ssh.AuthenticatePw("user", "secret"));
    CkoSFtp sftp;
    EXPECT_FALSE(sftp.InitializeSftp());
    EXPECT_THAT(sftp.LastErrorText(), HasSubstr("AuthenticatePw"));
    EXPECT_THAT(sftp.SessionLog(), HasSubstr("AuthenticatePk"));
}

TEST_F(Transport, SignsWithTheAlgorithmThatTheServerTakes)
{
    const struct {
        const char* type;
        const char* told; // By the server's extension info.
        bool settledOnly;
        const char* used;
    } cases[] = {
        {"ssh-rsa", "", false, "ssh-rsa"},
        {"ssh-rsa", "ssh-ed25519,rsa-sha2-256", false, "rsa-sha2-256"},
        {"ssh-rsa", "ssh-rsa,rsa-sha2-256,rsa-sha2-512", false, "rsa-sha2-512"},
        {"ssh-rsa", "rsa-sha2-512", true, "ssh-rsa"},
        {"ssh-dss", "rsa-sha2-512", false, "ssh-dss"},
        {"ssh-ed25519", "", false, "ssh-ed25519"},
        {"ecdsa-sha2-nistp256", "", false, "ecdsa-sha2-nistp256"},
        {"ecdsa-sha2-nistp384", "", false, "ecdsa-sha2-nistp384"},
        {"ecdsa-sha2-nistp521", "", false, "ecdsa-sha2-nistp521"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.type);
        peer::Options options;
        options.authMethods = {"publickey"};
        options.signatureAlgorithms = row.told;
        peer::Peer server(options);
        CkoSsh ssh;
        prepare(ssh);
        ssh.setSettledOnly(row.settledOnly);
        CkoSshKey key;
        ASSERT_TRUE(key.FromOpenSshPrivateKey(support::makeKeyText(row.type))) << key.LastErrorText();
        ASSERT_TRUE(ssh.Connect("127.0.0.1", server.port())) << ssh.LastErrorText();
        EXPECT_TRUE(ssh.AuthenticatePk("user", key)) << ssh.LastErrorText();
        ssh.Disconnect();
        while (server.seen().authRequests.empty()) { }
        EXPECT_EQ(server.seen().userKeyAlgorithm, row.used);
    }
}

// A host that is known under one key is refused any other, of another type too.
TEST_F(Transport, RefusesAHostThatShowsAnotherKey)
{
    peer::Options options;
    peer::Peer server(options);
    options.offer.hostKey = {"ssh-ed25519"};
    CkoSsh ssh;
    prepare(ssh);
    const std::string file = folder_ / "known_hosts";
    const auto lineFor = [&](const char* type) {
        return "[127.0.0.1]:" + std::to_string(server.port()) + " " + type + " "
            + toBase64(peer::keyOfType(type).publicBlob()) + "\n";
    };
    support::writeFile(file, lineFor("ssh-ed25519"));
    EXPECT_FALSE(ssh.Connect("127.0.0.1", server.port()));
    EXPECT_THAT(ssh.LastErrorText(),
        testing::AllOf(HasSubstr("line 1 of " + file), HasSubstr("known under another one"),
            HasSubstr("ssh-keygen -R")));
    EXPECT_EQ(support::readFile(file), lineFor("ssh-ed25519"));
    support::writeFile(file, lineFor("ssh-ed25519") + lineFor("ssh-rsa"));
    EXPECT_TRUE(ssh.Connect("127.0.0.1", server.port())) << ssh.LastErrorText();
    EXPECT_EQ(ssh.HostKeyFingerprint().substr(0, 7), "SHA256:");
    support::writeFile(file, "@revoked * ssh-rsa " + toBase64(peer::keyOfType("ssh-rsa").publicBlob()));
    EXPECT_FALSE(ssh.Connect("127.0.0.1", server.port()));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("revoked"));
}

TEST_F(Transport, RefusesHostsPortsAndNamesOfItsOwnThatCanNotBe)
{
    CkoSsh ssh;
    prepare(ssh);
    for (const char* host : {"", "two words", "a,b", "*", "line\nbreak", "no-such-host.invalid"})
        EXPECT_FALSE(ssh.Connect(host, 22)) << host;
    for (const int port : {-1, 0, 65536})
        EXPECT_FALSE(ssh.Connect("127.0.0.1", port)) << port;
    ssh.setClientIdentifier("not a version");
    EXPECT_FALSE(ssh.Connect("127.0.0.1", 22));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("SSH-2.0-"));
    ssh.Disconnect();
    EXPECT_LT(ssh.ChannelReadAndPoll(0, 10), 0);
    EXPECT_FALSE(ssh.ChannelSendClose(0));
    EXPECT_FALSE(ssh.ChannelReceiveToClose(-5));
    EXPECT_TRUE(ssh.ChannelReceivedClose(3)); // Nobody waits for what can't come.
    EXPECT_TRUE(ssh.GetReceivedDataN(0, 10).empty());
}

} // namespace
