#include "platform/files/Places.h"
#include "remote/AskNow.h"
#include "remote/machines/SVSSHPasswordInfo.h"
#include "remote/machines/SignInAnswers.h"
#include "remote/machines/SshClientConfig.h"
#include "ssh/Peer.h"
#include "ssh/Support.h"
#include "ssh/crypto/Wire.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = SignInQuestion::Kind;

namespace {

// A machine whose name stands for a peer, and a person who answers by the kind of the question.
class MachineSignIn : public testing::Test {
protected:
    MachineSignIn()
    {
        platform::Places::setRoot(folder_.path());
        machine_ = "machine" + std::to_string(++count_); // What one test has answered isn't another's.
        MachineAddress::resolver() = [this](const std::string&) {
            return MachineAddress{"127.0.0.1", peer_->port()};
        };
    }
    ~MachineSignIn() override
    {
        SignInAnswers::hook() = nullptr;
        MachineAddress::resolver() = nullptr;
        platform::Places::setRoot("");
    }
    void serve(const peer::Options& options)
    {
        peer_.reset();
        peer_ = std::make_unique<peer::Peer>(options);
    }
    void answer(std::map<Kind, std::string> answers)
    {
        SignInAnswers::hook() = [this, answers](const SignInQuestion& question, const auto& answered) {
            asked_.push_back(question);
            const auto found = answers.find(question.kind);
            answered(found == answers.end() ? std::nullopt : std::optional(found->second));
        };
    }
    // One attempt; the words of its failure, or nothing.
    std::string attempt(const SVSSHPasswordInfo& login)
    {
        ssh::CkoSsh connection;
        const auto failure = login.logIn(connection, {5000, 5000});
        connection.Disconnect();
        return failure.value_or("");
    }
    SVSSHPasswordInfo::Pointer login(const std::string& password, MachineAccess access = {}) const
    {
        return SVSSHPasswordInfo::createWithHost(machine_, "user", password, std::move(access));
    }
    bool ask() { return support::askNow("user@" + machine_); }
    bool isWaiting() const { return SignInAnswers::shared().isWaiting("user@" + machine_); }
    std::vector<Kind> kinds()
    {
        std::vector<Kind> kinds;
        for (const SignInQuestion& question : std::exchange(asked_, {}))
            kinds.push_back(question.kind);
        return kinds;
    }

    inline static int count_ = 0;
    TemporaryFolder folder_;
    std::string machine_;
    std::unique_ptr<peer::Peer> peer_;
    std::vector<SignInQuestion> asked_;
};

TEST(SshClientConfig, TakesTheFirstValueOfEachKeyThatConcernsTheHost)
{
    const std::string text = "# Host commented\n"
                             "User first\n"
                             "host login* !login9 \"other\"\r\n"
                             "  HostName = %h.example.org\n"
                             "\tport=2222\n"
                             "IdentityFile \"~/.ssh/a key\"\n"
                             "IdentityFile ~/.ssh/second\n"
                             "Host *\n"
                             "Port 99\n User second\n ProxyJump me@jump:23\n HostName fallback\n"
                             "Match all\nProxyJump wrong\n"
                             "Host plain\nPort\nPort x\nPort 70000\nProxyJump late";
    const struct {
        const char* alias;
        const char* hostName;
        int port;
        const char* identityFile;
    } cases[] = {
        {"login1", "login1.example.org", 2222, "~/.ssh/a key"},
        {"other", "other.example.org", 2222, "~/.ssh/a key"},
        {"login9", "fallback", 99, ""},
        {"commented", "fallback", 99, ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.alias);
        const SshClientConfig config = SshClientConfig::parse(text, row.alias);
        EXPECT_EQ(config.hostName.value_or(""), row.hostName);
        EXPECT_EQ(config.port.value_or(0), row.port);
        EXPECT_EQ(config.identityFile.value_or(""), row.identityFile);
        EXPECT_EQ(config.user.value_or(""), "first");
        EXPECT_EQ(config.proxyJump.value_or(""), "me@jump:23");
    }
    EXPECT_TRUE(SshClientConfig::parse(text, "x").hasMatch);
    EXPECT_FALSE(SshClientConfig::parse("Host a\nPort 0\nProxyJump none\nProxyJump x", "a").proxyJump);
    for (std::size_t cut = 0; cut < text.size(); ++cut) // Torn at any byte it is still read.
        (void)SshClientConfig::parse(std::string_view(text).substr(0, cut), "login1");
}

TEST_F(MachineSignIn, ReadsTheFilesThatTheUsersOwnIncludes)
{
    const WrapperOnDisk places;
    const auto write = [](const std::string& name, const std::string& text) {
        const std::string path = platform::Places::home() + "/.ssh/" + name;
        ASSERT_TRUE(platform::files::createDirectories(platform::paths::deletingLastComponent(path)).ok());
        support::writeFile(path, text);
    };
    write("config",
        "Host other\nInclude d/1\nHost a\nInclude d/*.conf ~/.ssh/self none\nUser late\nMatch all\nPort 1\n");
    write("d/1", "User wrong\n");
    write("d/1.conf", "HostName one\nHost b\nUser wrong\n");
    write("d/2.conf", "HostName two\nPort 22\n");
    write("self", "ProxyJump me@far:1,near\nInclude self\n");
    for (int i = 0; i < 2; ++i) {
        const SshClientConfig config = SshClientConfig::of("a");
        EXPECT_EQ(config.hostName.value_or(""), "one");
        EXPECT_EQ(config.port.value_or(0), 22);
        EXPECT_EQ(config.user.value_or(""), "late");
        EXPECT_EQ(config.proxyJump.value_or(""), "me@far:1,near");
    }
    EXPECT_THAT(places.messages(), testing::SizeIs(1)) << "about Match";
}

TEST_F(MachineSignIn, FindsAnAliasOfTheUsersOwnClient)
{
    serve({});
    MachineAddress::resolver() = nullptr;
    ASSERT_TRUE(platform::files::createDirectories(platform::Places::home() + "/.ssh").ok());
    support::writeFile(platform::Places::home() + "/.ssh/config",
        "Host " + machine_ + "\n HostName 127.0.0.1\n User user\n Port " + std::to_string(peer_->port())
            + "\n ProxyJump jump\n");
    EXPECT_EQ(MachineAddress::of(machine_, {}).host, "127.0.0.1");
    EXPECT_EQ(MachineAddress::of(machine_, {}).through, "jump");
    MachineAccess access;
    access.port = 1;
    access.through = "me@nearer";
    EXPECT_EQ(MachineAddress::of(machine_, access).port, 1);
    EXPECT_EQ(MachineAddress::of(machine_, access).through, "me@nearer");
    EXPECT_EQ(SVSSHPasswordInfo::createWithHost(machine_, "", "x")->userName(), "user");
}

// The questions of the host between are asked for the machine behind it, and answered for that host.
TEST_F(MachineSignIn, AsksWhatAHostBetweenNeeds)
{
    serve({});
    MachineAccess access;
    access.through = "me@between" + machine_;
    answer({{Kind::HostKey, "yes"}, {Kind::Password, "secret"}});
    EXPECT_EQ(attempt(*login("secret", access)), "Could not connect to " + machine_);
    EXPECT_TRUE(ask());
    EXPECT_EQ(attempt(*login("secret", access)), "Could not connect to " + machine_);
    EXPECT_TRUE(ask());
    ASSERT_EQ(asked_.size(), 2u);
    EXPECT_EQ(asked_[0].kind, Kind::HostKey);
    EXPECT_EQ(asked_[1].text, "Password of me@between" + machine_ + ": ");
    // The peer doesn't forward, and there is nothing more to ask.
    EXPECT_EQ(attempt(*login("secret", access)), "Could not connect to " + machine_);
    EXPECT_FALSE(ask());
}

TEST_F(MachineSignIn, WithoutAPersonIsAsItAlwaysWas)
{
    serve({});
    EXPECT_EQ(attempt(*login("secret")), "");
    EXPECT_EQ(attempt(*login("wrong")), "Could not connect as user user");
    EXPECT_FALSE(isWaiting() || ask());
}

TEST_F(MachineSignIn, ANewHostWaitsUntilAPersonHasSeenItsFingerprint)
{
    serve({});
    answer({{Kind::HostKey, "no"}});
    for (int i = 0; i < 2; ++i) { // An attempt by itself never asks.
        EXPECT_EQ(attempt(*login("secret")), "Could not connect to " + machine_);
        EXPECT_TRUE(isWaiting());
        EXPECT_THAT(kinds(), IsEmpty());
    }
    EXPECT_FALSE(ask());
    ASSERT_EQ(asked_.size(), 1u);
    EXPECT_THAT(asked_[0].text, HasSubstr("first time. The fingerprint of its key is SHA256:"));
    EXPECT_TRUE(isWaiting());
    answer({{Kind::HostKey, "yes"}});
    EXPECT_TRUE(ask());
    EXPECT_EQ(attempt(*login("secret")), "");
    EXPECT_FALSE(isWaiting());
    // A host that shows another key now is nothing to confirm.
    const std::string known = platform::Places::library() + "/known_hosts";
    support::writeFile(known,
        "[127.0.0.1]:" + std::to_string(peer_->port()) + " ssh-rsa "
            + ssh::toBase64(peer::keyOfType("ssh-ed25519").publicBlob()) + "\n");
    EXPECT_EQ(attempt(*login("secret")), "Could not connect to " + machine_);
    EXPECT_FALSE(isWaiting() || ask());
}

TEST_F(MachineSignIn, GivesACodeOnceAndAPasswordAgain)
{
    peer::Options options;
    options.authMethods = {"keyboard-interactive"};
    options.prompts = {{"Password: ", false}, {"Code: ", true}};
    options.answers = {"secret", "123"};
    serve(options);
    answer({{Kind::HostKey, "yes"}, {Kind::Password, "secret"}, {Kind::Code, "123"}});
    attempt(*login(""));
    EXPECT_TRUE(ask());
    EXPECT_EQ(attempt(*login("")), "Could not connect as user user");
    EXPECT_TRUE(ask());
    EXPECT_THAT(kinds(), ElementsAre(Kind::HostKey, Kind::Password, Kind::Code));
    EXPECT_EQ(attempt(*login("")), "");
    EXPECT_EQ(attempt(*login("")), "Could not connect as user user");
    EXPECT_TRUE(ask());
    ASSERT_EQ(asked_.size(), 1u);
    EXPECT_TRUE(asked_[0].kind == Kind::Code && asked_[0].shown && asked_[0].text == "Code: ");
    EXPECT_EQ(attempt(*login("")), "");
}

TEST_F(MachineSignIn, ARefusedPasswordGoesOutOnceUntilAPersonGivesIt)
{
    serve({});
    answer({{Kind::HostKey, "yes"}});
    attempt(*login("wrong"));
    ask();
    EXPECT_EQ(attempt(*login("wrong")), "Could not connect as user user");
    while (peer_->seen().authRequests.size() != 2)
        std::this_thread::yield();
    EXPECT_EQ(ssh::joinNames(peer_->seen().authRequests), "none,password");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(attempt(*login("wrong")), "Could not connect as user user");
    while (peer_->seen().authRequests.size() > 1)
        std::this_thread::yield();
    EXPECT_EQ(ssh::joinNames(peer_->seen().authRequests), "none");
    EXPECT_TRUE(isWaiting());
    answer({{Kind::Password, "secret"}});
    EXPECT_TRUE(ask());
    EXPECT_EQ(attempt(*login("wrong")), "");
}

// Accounts are locked after some refusals. A password that was good before may be good again.
TEST_F(MachineSignIn, ARefusedPasswordIsRepeatedOnlyAfterASuccessWhenNobodyCanBeAsked)
{
    serve({});
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(attempt(*login("wrong")), "Could not connect as user user");
    while (!peer_->seen().authRequests.empty())
        std::this_thread::yield();
    EXPECT_EQ(attempt(*login("secret")), "") << "another one is sent";
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(attempt(*login("wrong")), "Could not connect as user user");
        while (peer_->seen().authRequests.size() != 2)
            std::this_thread::yield();
    }
}

TEST_F(MachineSignIn, OpensAnEncryptedKeyByThePassphraseOfAPerson)
{
    const std::string path = folder_ / "key";
    ASSERT_EQ(support::run({"ssh-keygen", "-q", "-t", "ed25519", "-a", "1", "-N", "phrase", "-f", path}), 0);
    peer::Options options;
    options.authMethods = {"publickey"};
    options.keys = {"ssh-ed25519"};
    serve(options);
    MachineAccess access;
    access.keyFile = path;
    for (const std::string phrase : {"wrong", "phrase"}) {
        answer({{Kind::HostKey, "yes"}, {Kind::Passphrase, phrase}});
        for (int i = 0; i < 2 && !attempt(*login("", access)).empty(); ++i)
            EXPECT_TRUE(ask());
        EXPECT_EQ(attempt(*login("", access)), phrase == "wrong" ? "Could not read the private key" : "");
    }
    // It is kept in the secret store, for another login with the same file nobody is asked.
    const auto again = SVSSHPasswordInfo::createWithHost(machine_, "other", "", access);
    answer({{Kind::HostKey, "yes"}});
    for (int i = 0; i < 2 && !attempt(*again).empty(); ++i)
        EXPECT_TRUE(support::askNow(again->login()));
    EXPECT_EQ(attempt(*again), "");
    EXPECT_EQ(support::readFile(folder_ / "key").find("phrase"), std::string::npos);
    access.keyFile = folder_ / "none";
    EXPECT_EQ(attempt(*login("", access)), "Could not read the private key");
}

} // namespace
