#include "ssh/Peer.h"
#include "ssh/Support.h"
#include "ssh/crypto/Wire.h"
#include "ssh/session/CkoSsh.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/un.h>

using namespace ssh;
using testing::HasSubstr;

namespace {

CkoSshKey keyOf(const std::string& type)
{
    static std::map<std::string, std::string> texts;
    std::string& text = texts[type];
    if (text.empty())
        text = support::makeKeyText(type);
    CkoSshKey key;
    EXPECT_TRUE(key.FromOpenSshPrivateKey(text)) << key.LastErrorText();
    return key;
}

// One attempt on a connection of its own.
struct Attempt {
    Attempt(const peer::Options& options, const CkoSignIn& with,
        const std::function<void(CkoSsh&)>& change = nullptr)
        : session(options, change, [&](CkoSsh& ssh) { return ssh.SignIn("user", with); }),
          refusal(session.client.Refusal()), reason(session.client.LastErrorText())
    {
        used = joinNames(session.seen().authRequests);
    }
    // The texts of the prompts that had no answer.
    std::vector<std::string> asked() const
    {
        std::vector<std::string> texts;
        for (const CkoPrompt& prompt : refusal.unanswered)
            texts.push_back(prompt.text);
        return texts;
    }

    peer::Session<CkoSsh> session;
    CkoRefusal refusal;
    std::string reason;
    std::string used;
};

TEST(SignIn, GivesWhatTheServerAsksForOneAfterTheOther)
{
    const CkoSshKey ed25519 = keyOf("ssh-ed25519");
    const CkoSshKey ecdsa = keyOf("ecdsa-sha2-nistp256");
    const CkoSignIn all{{ed25519}, "secret", {{"Code: ", "123"}}};
    const struct {
        std::vector<std::string> methods;
        std::vector<std::string> then;
        std::vector<std::pair<std::string, bool>> prompts;
        std::vector<std::string> answers;
        CkoSignIn with;
        std::string used;
    } cases[] = {
        {{"password", "keyboard-interactive"}, {}, {}, {}, {{}, "secret", {}}, "none,password"},
        {{"publickey", "password"}, {}, {}, {}, all, "none,publickey,ssh-ed25519"},
        {{"publickey"}, {"password"}, {}, {}, all, "none,publickey,ssh-ed25519,password"},
        {{"password"}, {"publickey"}, {}, {}, all, "none,password,publickey,ssh-ed25519"},
        {{"publickey"}, {"keyboard-interactive"}, {{"Code: ", false}}, {"123"}, all,
            "none,publickey,ssh-ed25519,keyboard-interactive"},
        {{"keyboard-interactive"}, {}, {{"Password: ", false}, {"Code: ", true}}, {"secret", "123"}, all,
            "none,keyboard-interactive"},
        // A single hidden question at the start is for the password in any language; so is none at all.
        {{"keyboard-interactive"}, {}, {{"Kennwort: ", false}}, {}, {{}, "secret", {}},
            "none,keyboard-interactive"},
        {{"keyboard-interactive"}, {}, {}, {}, {}, "none,keyboard-interactive"},
        // With several keys each is offered before something is signed with it.
        {{"publickey"}, {}, {}, {}, {{ecdsa, ed25519}, "", {}},
            "none,publickey,ecdsa-sha2-nistp256,publickey,ssh-ed25519,publickey,ssh-ed25519"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.used);
        peer::Options options;
        options.authMethods = row.methods;
        options.alsoWants = row.then;
        options.prompts = row.prompts;
        options.answers = row.answers;
        options.keys = {"ssh-ed25519"};
        const Attempt attempt(options, row.with);
        EXPECT_TRUE(attempt.session.ready) << attempt.reason;
        EXPECT_EQ(attempt.used, row.used);
        EXPECT_TRUE(attempt.refusal.unanswered.empty() && !attempt.refusal.passwordRefused);
    }
}

TEST(SignIn, AsksAPersonOnlyForWhatIsMissing)
{
    peer::Options options;
    options.authMethods = {"publickey"};
    options.alsoWants = {"keyboard-interactive"};
    options.prompts = {{"Password: ", false}, {"Code: ", false}, {"Option (1-3): ", true}};
    options.answers = {"secret", "123", "1"};
    CkoSignIn with{{keyOf("ssh-ed25519")}, "", {}};
    {
        const Attempt attempt(options, with);
        EXPECT_FALSE(attempt.session.ready);
        ASSERT_THAT(attempt.asked(), testing::ElementsAre("Password: ", "Code: ", "Option (1-3): "));
        const auto& prompts = attempt.refusal.unanswered;
        EXPECT_TRUE(prompts[0].asksPassword && !prompts[1].asksPassword && !prompts[2].asksPassword);
        EXPECT_TRUE(!prompts[0].shown && !prompts[1].shown && prompts[2].shown);
        EXPECT_THAT(attempt.reason, HasSubstr("The server asks: Password: "));
    }
    with.password = "secret"; // Never goes to a question for something else.
    with.answers = {{"Option (1-3): ", "1"}};
    EXPECT_THAT(Attempt(options, with).asked(), testing::ElementsAre("Code: "));
    with.answers.push_back({"Code: ", "123"});
    EXPECT_TRUE(Attempt(options, with).session.ready);
    with.answers[1].answer = "456";
    const Attempt wrong(options, with);
    EXPECT_FALSE(wrong.session.ready);
    EXPECT_THAT(wrong.reason, HasSubstr("refused the answers"));

    options = {};
    const Attempt missing(options, {});
    EXPECT_EQ(missing.used, "none");
    ASSERT_EQ(missing.asked().size(), 1u);
    EXPECT_TRUE(missing.refusal.unanswered[0].asksPassword);
}

TEST(SignIn, SendsARefusedPasswordOnlyOnce)
{
    for (const std::vector<std::string>& methods :
        {std::vector<std::string>{"password", "keyboard-interactive"},
            std::vector<std::string>{"keyboard-interactive"}}) {
        peer::Options options;
        options.authMethods = methods;
        const Attempt attempt(options, {{}, "wrong", {}});
        EXPECT_FALSE(attempt.session.ready);
        EXPECT_TRUE(attempt.refusal.passwordRefused);
        EXPECT_EQ(attempt.used, "none," + methods[0]);
        EXPECT_THAT(attempt.reason, HasSubstr("refused the"));
    }
    peer::Options stranger;
    stranger.authMethods = {"hostbased"};
    EXPECT_THAT(
        Attempt(stranger, {{}, "secret", {}}).reason, HasSubstr("nothing for. It offers user user: h"));
}

// A person who has to find a telephone isn't a silent server; before that stage, silence is silence.
TEST(SignIn, WaitsForAnApprovalElsewhere)
{
    peer::Options options;
    options.authMethods = {"keyboard-interactive"};
    options.approval = std::chrono::milliseconds(900);
    const auto limits = [](CkoSsh& ssh) { ssh.setIdleTimeoutMs(300); };
    const auto patient = [&](CkoSsh& ssh) {
        limits(ssh);
        ssh.setApprovalTimeoutMs(20000);
    };
    EXPECT_TRUE(Attempt(options, {{}, "secret", {}}, patient).session.ready);
    EXPECT_THAT(Attempt(options, {{}, "secret", {}}, limits).reason, HasSubstr("silent for 300 ms"));
    options.authMethods = {"password"};
    options.onSend = [](Bytes& payload) {
        if (payload[0] == 52) // The success of the login.
            payload.clear();
    };
    EXPECT_THAT(Attempt(options, {{}, "secret", {}}, patient).reason, HasSubstr("silent for 300 ms"));
}

// An agent of which the test chooses the bytes of each answer, which may depend on the request.
class FakeAgent {
public:
    using Answer = std::function<Bytes(ByteView request)>;
    FakeAgent(const std::string& path, Answer answer)
        : answer_(std::move(answer)), listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(path.begin(), path.end(), address.sun_path);
        ::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        ::listen(listener_.get(), 8);
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeAgent()
    {
        ::shutdown(listener_.get(), SHUT_RDWR);
        thread_.join();
    }

private:
    void serve()
    {
        for (;;) {
            const platform::Descriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (!socket)
                return;
            std::uint8_t request[4096];
            const ssize_t got = ::recv(socket.get(), request, sizeof request, 0);
            if (got < 5)
                continue;
            const Bytes answer = answer_(ByteView(request).subspan(4, static_cast<std::size_t>(got) - 4));
            (void)!::send(socket.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
        }
    }
    const Answer answer_;
    const platform::Descriptor listener_;
    std::thread thread_;
};

TEST(SignIn, AnAgentThatLiesIsNoHarm)
{
    const TemporaryFolder folder;
    const PrivateKey& key = peer::keyOfType("ssh-ed25519");
    const PrivateKey& other = peer::keyOfType("ssh-rsa");
    const auto message = [](const WireWriter& body) { return WireWriter().string(ByteView(body)).take(); };
    constexpr std::uint8_t kList = 12;
    const std::pair<const char*, Bytes> lists[] = {{"nothing", {}}, {"a torn length", {0, 0}},
        {"too long", {0xff, 0xff, 0xff, 0xff, kList}}, {"empty", {0, 0, 0, 0}}, {"torn", {0, 0, 0, 9, kList}},
        {"a refusal", message(WireWriter(5))},
        {"many keys, and none there", message(WireWriter(kList).uint32(~0u))},
        {"a torn key", message(WireWriter(kList).uint32(1).uint32(1 << 30))}};
    for (const auto& [what, bytes] : lists) {
        const std::string path = folder / what;
        const FakeAgent agent(path, [&answer = bytes](ByteView) { return answer; });
        EXPECT_FALSE(CkoSshKey::KeysOfAgent(path).ok()) << what;
    }
    // A key that is no key is left out; one whose signature is another's lets nobody in, and never goes out.
    const auto list = message(WireWriter(kList)
                                  .uint32(2)
                                  .string("no key")
                                  .string("comment")
                                  .string(key.publicBlob())
                                  .string("comment"));
    for (const bool lies : {true, false}) {
        const std::string path = folder / (lies ? "liar" : "agent");
        const FakeAgent agent(path, [&](ByteView request) {
            if (request[0] == 11)
                return list;
            WireReader reader(request.subspan(1));
            reader.string();
            const ByteView data = reader.string();
            const auto signature = lies ? other.sign(*findSignature("rsa-sha2-256"), data)
                                        : key.sign(*findSignature("ssh-ed25519"), data);
            return message(WireWriter(14).string(*signature));
        });
        const auto keys = CkoSshKey::KeysOfAgent(path);
        ASSERT_TRUE(keys.ok());
        ASSERT_EQ(keys->size(), 1u);
        peer::Options options;
        options.authMethods = {"publickey"};
        const Attempt attempt(options, {*keys, "", {}});
        EXPECT_EQ(attempt.session.ready, !lies) << attempt.reason;
        EXPECT_EQ(attempt.used, lies ? "none" : "none,publickey,ssh-ed25519");
        EXPECT_THAT(attempt.reason, HasSubstr(lies ? "made a signature that is wrong" : ""));
    }
}

TEST(SignIn, ANewHostIsRefusedUntilItsFingerprintIsConfirmed)
{
    const TemporaryFolder folder;
    peer::Peer server({});
    std::string fingerprint;
    for (const char* wrong : {"", "SHA256:other"}) {
        CkoSsh ssh;
        ssh.setKnownHostsFile(folder / "known_hosts");
        ssh.setTrustNewHosts(false, wrong);
        EXPECT_FALSE(ssh.Connect("127.0.0.1", server.port()));
        EXPECT_TRUE(ssh.HostKeyIsNew());
        fingerprint = ssh.HostKeyFingerprint();
        EXPECT_THAT(ssh.LastErrorText(), HasSubstr("nobody has confirmed its key ssh-rsa " + fingerprint));
        EXPECT_EQ(support::readFile(folder / "known_hosts"), "");
    }
    for (const bool isNew : {true, false}) { // Once it is known, nothing needs to be confirmed.
        CkoSsh ssh;
        ssh.setKnownHostsFile(folder / "known_hosts");
        ssh.setTrustNewHosts(false, isNew ? fingerprint : "");
        EXPECT_TRUE(ssh.Connect("127.0.0.1", server.port())) << ssh.LastErrorText();
        EXPECT_EQ(ssh.HostKeyIsNew(), isNew);
    }
}

} // namespace
