#include "platform/files/Places.h"
#include "ssh/Peer.h"
#include "ssh/Support.h"
#include "ssh/crypto/Wire.h"
#include "ssh/session/CkoSsh.h"
#include "ssh/session/CkoSshKey.h"
#include "ssh/session/SharedConnection.h"
#include "ssh/sftp/CkoSFtp.h"
#include "ssh/transport/Messages.h"

#include <gmock/gmock.h>

using namespace ssh;
using testing::HasSubstr;

namespace {

struct Transport : testing::Test {
    void prepare(CkoConnection& connection)
    {
        connection.setConnectTimeoutMs(20000);
        connection.setIdleTimeoutMs(20000);
        connection.setKnownHostsFile(folder_ / "known_hosts");
    }
    // Connects, logs in with the password and runs a command; its output, or the reason why not.
    std::string session(const peer::Options& options, const std::function<void(CkoSsh&)>& change = nullptr)
    {
        const auto prepared = [&](CkoSsh& ssh) {
            prepare(ssh);
            if (change)
                change(ssh);
        };
        // With new keys before and after the login.
        peer::Session<CkoSsh> with(options, prepared,
            [](CkoSsh& ssh) { return ssh.ReKey() && ssh.AuthenticatePw("user", "secret") && ssh.ReKey(); });
        algorithms_ = with.client.Algorithms();
        log_ = with.client.SessionLog();
        int status = -1;
        const std::string result =
            with.ready ? support::runCommand(with.client, "anything", &status) : with.client.LastErrorText();
        EXPECT_EQ(status, result == options.output ? 5 : -1);
        return result;
    }

    support::TemporaryFolder folder_;
    std::vector<std::string> algorithms_;
    std::string log_;
};

TEST_F(Transport, SpeaksEveryEntryOfItsLists)
{
    const AlgorithmOffer all = offerFor({}, "");
    const peer::Options plain;
    const struct {
        const std::vector<std::string>& names;
        std::vector<std::string> AlgorithmOffer::*list;
        std::size_t shownAt; // Among the agreed algorithms.
    } lists[] = {{all.keyExchange, &AlgorithmOffer::keyExchange, 0},
        {all.hostKey, &AlgorithmOffer::hostKey, 1}, {all.cipher, &AlgorithmOffer::cipher, 2},
        {all.mac, &AlgorithmOffer::mac, 3}, {all.compression, &AlgorithmOffer::compression, 4}};
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
            const bool weak = name == "diffie-hellman-group1-sha1" || name == "arcfour128"
                || name == "arcfour256" || name == "hmac-md5" || (name == "none" && shownAt == 3);
            EXPECT_EQ(log_.find("weak") != std::string::npos, weak) << log_;
            if (weak) {
                EXPECT_THAT(log_, HasSubstr(name));
                EXPECT_THAT(session(options, [](CkoSsh& ssh) { ssh.setRefuseWeak(true); }),
                    HasSubstr("which offers: " + name + ". Weak ones are refused"));
            }
        }
}

TEST_F(Transport, TakesItsSettingsBeforeItConnects)
{
    peer::Options options;
    const AlgorithmOffer all = offerFor({}, "");
    options.offer = {all.keyExchange, {"ssh-rsa"}, all.cipher, {"hmac-sha2-256"}, all.compression};
    peer::Options later = options;
    later.offer.keyExchange = {"curve25519-sha256"};
    const struct {
        const peer::Options& server;
        std::function<void(CkoSsh&)> change;
        const char* agreed; // Or why nothing was.
    } cases[] = {
        {options, [](CkoSsh&) {},
            "diffie-hellman-group-exchange-sha256,ssh-rsa,aes256-ctr,hmac-sha2-256,zlib"},
        {options, [](CkoSsh& ssh) { ssh.setCounterModes(false); }, ",aes256-cbc,"},
        {options, [](CkoSsh& ssh) { ssh.setForceCipher("blowfish-cbc"); }, ",blowfish-cbc,"},
        {options, [](CkoSsh& ssh) { ssh.setForceCipher("rot13"); }, "\"rot13\" isn't one that can be used"},
        {options,
            [](CkoSsh& ssh) {
                ssh.setForceCipher("arcfour128");
                ssh.setRefuseWeak(true);
            },
            "\"arcfour128\" is weak"},
        {options, [](CkoSsh& ssh) { ssh.setCompression(false); }, "hmac-sha2-256,none"},
        {later, [](CkoSsh&) {}, "curve25519-sha256,"},
        {later, [](CkoSsh& ssh) { ssh.setSettledOnly(true); },
            "No key exchange algorithm in common with the server, which offers: curve25519-sha256."},
        {options, [](CkoSsh& ssh) { ssh.setClientIdentifier("SSH-2.0-\n"); }, "must be a line that begins"},
    };
    for (const auto& row : cases) {
        std::string text = session(row.server, row.change);
        if (text == "output\n")
            text = joinNames(algorithms_);
        EXPECT_THAT(text, HasSubstr(row.agreed));
    }
}

// Changes one field of the reply that carries the host key, the server's value and the signature.
std::function<void(peer::Options&)> reply(const char* kex, std::size_t field, const Bytes& value)
{
    return [=](peer::Options& options) {
        options.offer.keyExchange = {kex};
        options.onSend = [=](Bytes& payload) {
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
    };
}

std::function<void(peer::Options&)> group(const Bytes& prime, const Bytes& generator)
{
    return [=](peer::Options& options) {
        options.offer.keyExchange = {"diffie-hellman-group-exchange-sha256"};
        options.group = DhGroup{prime, generator};
    };
}

std::function<void(peer::Options&)> version(const std::string& line)
{
    return [=](peer::Options& options) { options.version = line; };
}

// Sends something else in the place of a message.
std::function<void(peer::Options&)> instead(std::uint8_t message, const WireWriter& other)
{
    return [=](peer::Options& options) {
        options.onSend = [=](Bytes& payload) { payload = payload[0] == message ? other.bytes() : payload; };
    };
}

// Asks, and asks again instead of letting the user in.
std::function<void(peer::Options&)> prompts(std::size_t count)
{
    return [=](peer::Options& options) {
        const WireWriter again = WireWriter(message::kUserauthInfoRequest).raw(Bytes(16));
        instead(message::kUserauthSuccess, again)(options);
        options.authMethods = {"keyboard-interactive"};
        options.prompts.resize(count);
    };
}

TEST_F(Transport, RefusesWhatAServerHasNoRightToSend)
{
    using namespace message;
    constexpr const char* kDh = "diffie-hellman-group14-sha1";
    constexpr const char* kCurve = "curve25519-sha256";
    constexpr const char* kNist = "ecdh-sha2-nistp256";
    const Bytes& prime = fixedGroup(14).prime;
    Bytes minusOne = prime;
    minusOne.back() = static_cast<std::uint8_t>(minusOne.back() - 1);
    minusOne.insert(minusOne.begin(), 0);
    Bytes offCurve(65, 1);
    offCurve[0] = 4;
    const Bytes wrongSignature = WireWriter().string("ssh-rsa").string(Bytes(256, 1)).take();
    const Bytes swapped = WireWriter().string("rsa-sha2-512").string(Bytes(256, 1)).take();
    using Changes = std::vector<std::function<void(peer::Options&)>>;
    const std::pair<const char*, Changes> cases[] = {
        {"output\n", {version("SSH-1.99-Both"), [](peer::Options& options) { options.guesses = true; }}},
        {"before its first key exchange",
            {instead(kKexDhReply, WireWriter(kUserauthSuccess)),
                instead(kKexDhReply, WireWriter(kServiceAccept).string("ssh-userauth")),
                instead(kKexDhReply, WireWriter(kChannelData).uint32(0).string("x")),
                instead(kKexDhReply, WireWriter(kExtInfo).uint32(0))}},
        {"out of turn",
            {instead(kKexDhReply, WireWriter(kNewKeys)),
                instead(kServiceAccept, WireWriter(kUserauthSuccess)),
                instead(kUserauthFailure, WireWriter(kUserauthInfoRequest)),
                instead(kChannelSuccess, WireWriter(kKexDhReply)),
                instead(kChannelSuccess, WireWriter(kNewKeys))}},
        {"before the login", {instead(kUserauthFailure, WireWriter(kChannelOpenConfirmation).uint32(0))}},
        {"damaged login", {instead(kUserauthFailure, WireWriter(kUserauthFailure).uint32(99))}},
        {"wants the password changed", {instead(kUserauthSuccess, WireWriter(kUserauthInfoRequest))}},
        {"wants another one on top (publickey)",
            {instead(kUserauthSuccess, WireWriter(kUserauthFailure).nameList({"publickey"}).boolean(true))}},
        {"too many questions", {prompts(65), prompts(0)}}, // Also without an end, if none asks for anything.
        {"damaged channel message", {instead(kChannelSuccess, WireWriter(kGlobalRequest))}},
        {"damaged key exchange", {instead(kChannelSuccess, WireWriter(kKexInit))}},
        {"didn't understand", {instead(kChannelSuccess, WireWriter(kUnimplemented).uint32(0))}},
        {"damaged extension info", {instead(kChannelSuccess, WireWriter(kExtInfo).uint32(1000000))}},
        {"ended the connection: reason 2",
            {instead(kChannelSuccess, WireWriter(kDisconnect).uint32(2).string(""))}},
        {"refused to start the command", {instead(kChannelSuccess, WireWriter(kChannelFailure).uint32(0))}},
        {"doesn't open a channel: Full.",
            {instead(kChannelOpenConfirmation,
                WireWriter(kChannelOpenFailure).uint32(0).uint32(4).string("Full"))}},
        {"doesn't begin with \"SSH-\"", {version("HTTP/1.1 400 Bad Request")}},
        {"another version", {version("SSH-1.5-Old")}},
        {"too long", {version("SSH-2.0-" + std::string(300, 'x'))}},
        {"doesn't begin", {version("SS")}},
        {"1024 bits", {group(fixedGroup(1).prime, {2})}},
        {"8200 bits", {group(Bytes(1025, 0xff), {2})}},
        {"isn't built on a safe prime", {group(Bytes(256, 0xff), {2})}}, // Divisible by 3.
        {"generator", {group(prime, {1}), group(prime, {}), group(prime, fixedGroup(16).prime)}},
        // The last one is negative.
        {"out of range",
            {reply(kDh, 1, {}), reply(kDh, 1, {1}), reply(kDh, 1, minusOne), reply(kDh, 1, {0x80})}},
        {"guessable", {reply(kCurve, 1, Bytes(32))}},
        {"no point", {reply(kCurve, 1, Bytes(31, 9)), reply(kNist, 1, offCurve), reply(kNist, 1, {0})}},
        {"signature is wrong", {reply(kCurve, 1, Bytes(32, 9)), reply(kCurve, 2, wrongSignature)}},
        {"isn't of the agreed kind",
            {reply(kCurve, 2, swapped), reply(kCurve, 2, {}),
                reply(kCurve, 0, peer::keyOfType("ssh-ed25519").publicBlob())}},
        {"isn't understood", {reply(kCurve, 0, {1, 2, 3})}},
    };
    for (const auto& [reason, changes] : cases)
        for (const auto& change : changes) {
            peer::Options options;
            change(options);
            support::writeFile(folder_ / "known_hosts", "");
            EXPECT_THAT(session(options), HasSubstr(reason));
        }
    EXPECT_EQ(support::readFile(folder_ / "known_hosts"), ""); // Nothing unproven is remembered.
}

// A message slipped in before the first keys is legal, and ends the connection where the strict form is
// spoken.
TEST_F(Transport, HoldsToTheStrictKeyExchange)
{
    const std::pair<std::uint8_t, const char*> cases[] = {
        {message::kKexInit, "before its key exchange, which the strict form forbids"},
        {message::kKexDhReply, "within its first key exchange, which the strict form forbids"},
        {message::kNewKeys, "within its first key exchange, which the strict form forbids"},
        {message::kServiceAccept, "output\n"},
    };
    for (const auto& [before, reason] : cases)
        for (const bool strict : {false, true}) {
            peer::Options options;
            options.slipsInBefore = before;
            if (strict)
                options.offer.keyExchange.emplace_back(kStrictServer);
            EXPECT_THAT(session(options), HasSubstr(strict ? reason : "output\n"));
        }
}

TEST_F(Transport, LogsInTheWayTheServerOffers)
{
    const struct {
        std::string keyType; // Empty for a login with the password.
        std::string methods; // The server's.
        std::string password;
        std::vector<std::pair<std::string, bool>> prompts;
        const char* told; // By the server's extension info.
        bool settledOnly;
        std::string used;
    } cases[] = {
        {"", "password,keyboard-interactive", "secret", {}, "", false, "none,password"},
        {"", "keyboard-interactive", "s", {{"Password:", false}}, "", false, "none,keyboard-interactive"},
        {"", "password,keyboard-interactive", "", {}, "", false, "none,keyboard-interactive"},
        {"", "keyboard-interactive", "s", {{"", false}, {"", true}}, "", false, "none,keyboard-interactive"},
        {"", "password", "", {}, "", false, "none,password"},
        {"ssh-rsa", "publickey", "", {}, "", false, "none,publickey,ssh-rsa"},
        {"ssh-rsa", "publickey", "", {}, "ssh-dss,rsa-sha2-256", false, "none,publickey,rsa-sha2-256"},
        {"ssh-rsa", "publickey", "", {}, "rsa-sha2-256,rsa-sha2-512", false, "none,publickey,rsa-sha2-512"},
        {"ssh-rsa", "publickey", "", {}, "rsa-sha2-512", true, "none,publickey,ssh-rsa"},
        {"ssh-dss", "publickey", "", {}, "rsa-sha2-512", false, "none,publickey,ssh-dss"},
    };
    for (const auto& row : cases) {
        peer::Options options;
        options.authMethods = splitNames(row.methods);
        options.password = row.password;
        options.prompts = row.prompts;
        options.signatureAlgorithms = row.told;
        CkoSshKey key;
        EXPECT_EQ(key.FromOpenSshPrivateKey(support::makeKeyText(row.keyType)), !row.keyType.empty());
        peer::Session<CkoSsh> with(
            options, [&](CkoSsh& ssh) { ssh.setSettledOnly(row.settledOnly); },
            [&](CkoSsh& ssh) {
                return row.keyType.empty() ? ssh.AuthenticatePw("user", row.password)
                                           : ssh.AuthenticatePk("user", key);
            });
        EXPECT_TRUE(with.ready) << with.client.LastErrorText();
        constexpr const char* kSaid = "Password is empty. Choosing keyboard-interactive login instead.";
        EXPECT_EQ(with.client.SessionLog().find(kSaid) != std::string::npos,
            row.password.empty() && row.methods.starts_with("password,"));
        EXPECT_EQ(joinNames(with.seen().authRequests), row.used);
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
    EXPECT_FALSE(ssh.AuthenticatePk("user", key) || ssh.AuthenticatePk("user", CkoSshKey()));
    EXPECT_LT(ssh.OpenSessionChannel(), 0);
    EXPECT_TRUE(ssh.AuthenticatePw("user", "secret"));
    EXPECT_FALSE(ssh.AuthenticatePw("user", "wrong"));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("already"));
    CkoSFtp sftp;
    EXPECT_FALSE(sftp.InitializeSftp());
    EXPECT_THAT(sftp.LastErrorText(), HasSubstr("AuthenticatePw"));
    EXPECT_THAT(sftp.SessionLog(), HasSubstr("AuthenticatePk"));
}

TEST_F(Transport, TrustsAHostOnceAndThenOnlyUnderItsKnownKeys)
{
    peer::Options options;
    options.offer.hostKey = {"ssh-rsa", "ssh-ed25519"};
    peer::Peer server(options);
    const auto lineFor = [&](const std::string& type, const char* keyOf = nullptr) {
        return "[127.0.0.1]:" + std::to_string(server.port()) + " " + type + " "
            + toBase64(peer::keyOfType(keyOf ? keyOf : type).publicBlob()) + "\n";
    };
    const struct {
        std::string known;
        const char* shown; // Type of the key; else why it is refused.
        bool isNew = false;
    } cases[] = {
        {"", "ssh-rsa", true},
        {lineFor("ssh-rsa"), "ssh-rsa"},
        {lineFor("ssh-ed25519"), "ssh-ed25519"}, // As OpenSSH records it.
        {lineFor("ssh-dss") + lineFor("ssh-rsa"), "ssh-rsa"},
        {lineFor("ssh-dss"), "known under a key of another type (line 1 of "},
        {"\n" + lineFor("ssh-rsa", "ssh-dss"), "known under another one (line 2 of "},
        {"@revoked" + (" " + lineFor("ssh-rsa")), "known_hosts marks as revoked"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.known);
        CkoSsh ssh;
        prepare(ssh);
        support::writeFile(folder_ / "known_hosts", row.known);
        const bool trusted = ssh.Connect("127.0.0.1", server.port());
        EXPECT_THAT(trusted ? ssh.Algorithms()[1] : ssh.LastErrorText(), HasSubstr(row.shown));
        EXPECT_EQ(ssh.HostKeyFingerprint().substr(0, 7), "SHA256:");
        EXPECT_EQ(ssh.HostKeyIsNew(), row.isNew);
        EXPECT_EQ(ssh.SessionLog().find("first time. Its key has been recorded: ssh-rsa SHA256:")
                != std::string::npos,
            row.isNew);
        EXPECT_EQ(support::readFile(folder_ / "known_hosts"), row.isNew ? lineFor("ssh-rsa") : row.known);
    }
    platform::Places::setRoot(folder_.path());
    for (const char* name : {"127.0.0.1", "localhost"})
        EXPECT_TRUE(CkoSsh().Connect(name, server.port()));
    EXPECT_THAT(support::readFile(platform::Places::library() + "/known_hosts"),
        testing::StartsWith(lineFor("ssh-rsa") + "[localhost]:"));
    platform::Places::setRoot("");
}

// The question for a sign of life has no answer from this peer.
TEST_F(Transport, KeepAlivesGiveUpAPeerThatStopsAnswering)
{
    const std::function<bool(CkoSsh&, int)> waits[] = {
        [](CkoSsh& ssh, int channel) { return ssh.ChannelReceiveToClose(channel); },
        [](CkoSsh& ssh, int channel) { return ssh.ChannelReadAndPoll(channel, 60000) >= 0; }};
    for (const auto& wait : waits) {
        peer::Session<CkoSsh> session({}, [](CkoSsh& ssh) { ssh.setKeepAlive(true); });
        CkoSsh& ssh = session.client;
        const int channel = ssh.OpenSessionChannel();
        ASSERT_TRUE(ssh.SendReqExec(channel, "cat")) << ssh.LastErrorText();
        ssh.setIdleTimeoutMs(600);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(wait(ssh, channel));
        EXPECT_THAT(ssh.LastErrorText(), HasSubstr("idle time limit"));
        const auto taken = std::chrono::steady_clock::now() - start;
        EXPECT_GE(taken, std::chrono::milliseconds(500));
        EXPECT_LT(taken, std::chrono::seconds(10));
        EXPECT_LT(ssh.OpenSessionChannel(), 0);
    }
}

// A request that has just gone out is no sign of life.
TEST_F(Transport, EndsACallAfterOneIdleLimitOfSilence)
{
    peer::Options options;
    options.onSend = [silent = false](Bytes& payload) mutable {
        silent = silent || payload[0] == message::kChannelSuccess;
        if (silent)
            payload.clear();
    };
    peer::Session<CkoSsh> with(options);
    CkoSsh& ssh = with.client;
    const int channel = ssh.OpenSessionChannel();
    ssh.setIdleTimeoutMs(1500);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(ssh.SendReqExec(channel, "anything"));
    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(taken >= std::chrono::milliseconds(1490) && taken < std::chrono::milliseconds(2800));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("silent for 1500 ms"));
}

// Through a window that is smaller than the input, while the command answers.
TEST_F(Transport, HandsACommandItsInputAndTheEndOfIt)
{
    peer::Options options;
    options.window = 5000;
    peer::Session<CkoSsh> with(options);
    CkoSsh& ssh = with.client;
    const int channel = ssh.OpenSessionChannel();
    ASSERT_TRUE(ssh.SendReqExec(channel, "cat"));
    const std::string input = support::randomText(3'000'000);
    std::string output;
    EXPECT_LT(ssh.GetChannelExitStatus(channel), 0);
    for (ByteView left = viewOf(input); !ssh.ChannelReceivedClose(channel);) {
        const int taken = left.empty() ? 0 : ssh.ChannelSendData(channel, left);
        ASSERT_TRUE(taken >= 0 && taken <= 5000) << taken << ssh.LastErrorText();
        left = left.subspan(static_cast<std::size_t>(taken));
        EXPECT_TRUE(!left.empty() || ssh.ChannelSendClose(channel));
        const auto data = ssh.GetReceivedDataN(channel, ssh.ChannelReadAndPoll(channel, 1000));
        output.append(data.begin(), data.end());
    }
    EXPECT_TRUE(output == input) << output.size();
    EXPECT_LT(ssh.ChannelSendData(channel, viewOf("more")), 0);
    const peer::Seen seen = with.seen();
    EXPECT_EQ(seen.clientVersion, "SSH-2.0-PuTTY_Release_0.63");
    EXPECT_TRUE(seen.window == 327680 && seen.packet == 8192);
    EXPECT_TRUE(seen.windowTotal >= 2u << 20 && seen.toldToGo);
}

TEST_F(Transport, RefusesHostsPortsAndNamesOfItsOwnThatCanNotBe)
{
    CkoSsh ssh;
    prepare(ssh);
    for (const char* host : {"", "two words", "a,b", "*", "line\nbreak", "two..dots"})
        EXPECT_FALSE(ssh.Connect(host, 22)) << host;
    for (const int port : {-1, 0, 65536})
        EXPECT_FALSE(ssh.Connect("127.0.0.1", port)) << port;
    const int nobodys = std::make_unique<peer::Peer>(peer::Options())->port();
    EXPECT_FALSE(ssh.Connect("127.0.0.1", nobodys));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("refused"));
    // A listener whose queue is full lets nobody in, and refuses nobody.
    int full = 0;
    const platform::Descriptor listener = listenOnLoopback(full);
    listen(listener.get(), 0);
    CkoSsh first;
    ssh.setConnectTimeoutMs(300);
    first.setConnectTimeoutMs(1);
    EXPECT_FALSE(first.Connect("127.0.0.1", full) || ssh.Connect("127.0.0.1", full));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("longer than the connect time limit"));
    ssh.setClientIdentifier("not a version");
    EXPECT_FALSE(ssh.Connect("127.0.0.1", 22));
    EXPECT_THAT(ssh.LastErrorText(), HasSubstr("SSH-2.0-"));
    ssh.Disconnect();
    EXPECT_FALSE(ssh.ReKey());
    EXPECT_LT(ssh.ChannelReadAndPoll(0, 10), 0);
    EXPECT_FALSE(ssh.ChannelSendClose(0) || ssh.ChannelReceiveToClose(-5));
    EXPECT_TRUE(ssh.ChannelReceivedClose(3)); // Nobody waits for what can't come.
    EXPECT_TRUE(ssh.GetReceivedDataN(0, 10).empty());
}

// One user of a shared connection takes nothing and the other waits: neither may fill the memory or hang.
TEST_F(Transport, ASharedConnectionEndsForAllWhenTheServerBreaksTheProtocol)
{
    EXPECT_FALSE(CkoSsh::Share(std::make_unique<CkoSsh>(), {}).ok());
    const auto toChannel = [](std::uint8_t number, std::uint8_t channel) {
        return [=](Bytes& payload) {
            if (payload[0] == number)
                payload[4] = channel;
        };
    };
    const struct {
        const char* reason;
        std::size_t output;
        std::function<void(Bytes&)> onSend;
        bool takes; // The first user looks at what has come.
    } cases[] = {
        {"than the channel's window allows", 12 << 20, nullptr, false},
        {"sent more data than the channel's window allows", 4 << 20, nullptr, true},
        {"a channel that isn't there", 10, toChannel(94, 9), false},
        {"a channel message out of turn", 10,
            [](Bytes& payload) { payload[0] = payload[0] == 94 ? 91 : payload[0]; }, true},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.reason);
        peer::Options options;
        options.output.assign(row.output, 'x');
        options.onSend = row.onSend;
        peer::Peer server(options);
        auto connection = std::make_unique<CkoSsh>();
        prepare(*connection);
        ASSERT_TRUE(connection->Connect("127.0.0.1", server.port()));
        ASSERT_TRUE(connection->AuthenticatePw("user", "secret"));
        const auto shared = CkoSsh::Share(std::move(connection), {});
        ASSERT_TRUE(shared.ok());
        CkoSsh user;
        CkoSsh other;
        prepare(user);
        prepare(other);
        ASSERT_TRUE(user.ConnectShared(*shared) && other.ConnectShared(*shared));
        const int channel = user.OpenSessionChannel();
        if (user.SendReqExec(channel, "anything") && row.takes)
            while (!user.ChannelReceivedClose(channel) && user.ChannelReadAndPoll(channel, 100) >= 0) { }
        EXPECT_FALSE(other.ChannelReceiveToClose(other.OpenSessionChannel()));
        EXPECT_THAT(other.LastErrorText(), HasSubstr(row.reason));
        EXPECT_FALSE((*shared)->isAlive());
        EXPECT_FALSE(other.ConnectShared(*shared));
    }
}

} // namespace
