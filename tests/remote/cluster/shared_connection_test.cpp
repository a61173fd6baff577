// Operations that share a connection: each works as on one of its own, and a batch signs in once.

#include "apps/composition/Composition.h"
#include "platform/loop/Pace.h"
#include "remote/AskNow.h"
#include "remote/cluster/LoopbackCluster.h"
#include "remote/machines/ConnectionPool.h"
#include "remote/machines/SignInAnswers.h"
#include "ssh/Relay.h"
#include "task/application/KRTrelkindApplication.h"

#include <gmock/gmock.h>

#include <thread>

namespace {

using testing::HasSubstr;

// A password that is taken once: the server's list holds it until then.
std::string oneTimePasswords(const std::string& list)
{
    const std::string check = list + ".check";
    support::writeFile(check,
        "#!/bin/bash\ncode=$(tr -d '\\0')\ngrep -qx \"$code\" " + list + " && sed -i \"/^$code$/d\" " + list
            + "\n");
    std::filesystem::permissions(check, std::filesystem::perms(0755));
    return "auth required pam_exec.so quiet expose_authtok " + check
        + "\nauth required pam_permit.so\naccount required pam_permit.so\nsession required pam_permit.so\n";
}

class SharedConnection : public testing::Test {
protected:
    explicit SharedConnection(const std::string& configuration = "", const std::string& pam = "")
        : cluster(configuration, pam), relay(cluster.works() ? cluster.port() : 0)
    {
        MachineAddress::resolver() = [this](const std::string&) {
            return MachineAddress{"127.0.0.1", relay.port()};
        };
    }
    ~SharedConnection() override
    {
        SignInAnswers::hook() = nullptr;
        platform::Pace::setFactor(1);
    }
    void SetUp() override
    {
        if (!cluster.works())
            GTEST_SKIP() << "A server with an account of its own needs to be root.";
    }
    // A channel of a shared connection; null when there is none.
    std::unique_ptr<ssh::CkoSsh> attach(int idleMs = 5000)
    {
        auto ssh = std::make_unique<ssh::CkoSsh>();
        const auto failure = ConnectionPool::shared().attach(*cluster.login(), *ssh, {5000, idleMs});
        EXPECT_FALSE(failure) << failure->sentence << failure->reason;
        return failure ? nullptr : std::move(ssh);
    }
    // Waits for a word in the command's output, and takes no more.
    static bool prints(ssh::CkoSsh& ssh, int channel, const std::string& word)
    {
        std::string output;
        while (output.find(word) == output.npos) {
            const int count = ssh.ChannelReadAndPoll(channel, 10000);
            if (count <= 0)
                return false;
            const auto data = ssh.GetReceivedDataN(channel, count);
            output.append(data.begin(), data.end());
        }
        return true;
    }
    static int start(ssh::CkoSsh& ssh, const std::string& command)
    {
        const int channel = ssh.OpenSessionChannel();
        EXPECT_TRUE(ssh.SendReqExec(channel, command)) << ssh.LastErrorText();
        return channel;
    }

    WrapperOnDisk wrapper;
    LoopbackCluster cluster;
    support::Relay relay;
};

TEST_F(SharedConnection, GivesEachUserItsOwnOutputAndExitStatus)
{
    constexpr int kUsers = 4;
    std::vector<std::thread> users;
    for (int user = 0; user < kUsers; ++user)
        users.emplace_back([this, user] {
            for (int round = 0; round < 5; ++round) {
                const auto ssh = attach();
                int status = -1;
                const std::string size = std::to_string(200000 * user + round);
                EXPECT_EQ(support::runCommand(*ssh,
                              "head -c " + size + " /dev/zero | tr '\\0' " + std::to_string(user) + "; exit "
                                  + std::to_string(user),
                              &status),
                    std::string(std::stoul(size), static_cast<char>('0' + user)));
                EXPECT_EQ(status, user);
                ssh::CkoSFtp sftp;
                EXPECT_FALSE(ConnectionPool::shared().authenticateFTP(*cluster.login(), sftp));
                const std::string name = "file" + std::to_string(user);
                wrapper.write(name, support::randomText(300000 + static_cast<std::size_t>(round)));
                EXPECT_TRUE(sftp.UploadFileByName(name, wrapper / name)) << sftp.LastErrorText();
                EXPECT_TRUE(sftp.DownloadFileByName(name, wrapper / (name + ".back")));
                EXPECT_EQ(wrapper.read(name + ".back"), wrapper.read(name));
            }
        });
    for (std::thread& user : users)
        user.join();
    EXPECT_EQ(relay.connections(), 1);
}

TEST_F(SharedConnection, ASlowUserHoldsUpNobodyAndFillsNoMemory)
{
    const auto slow = attach();
    const int channel = start(*slow, "head -c 30000000 /dev/urandom; exit 3");
    ASSERT_TRUE(served([&] { return relay.toClient() > 1 << 20; }));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(support::runCommand(*attach(), "echo quick"), "quick\n");
    EXPECT_LT(relay.toClient(), 4u << 20);
    std::size_t taken = 0;
    for (bool closed = false; !closed;) {
        closed = slow->ChannelReceivedClose(channel);
        const int count = slow->ChannelReadAndPoll(channel, 2000);
        ASSERT_GE(count, 0) << slow->LastErrorText();
        taken += slow->GetReceivedDataN(channel, count).size();
    }
    EXPECT_EQ(taken, 30000000u);
    EXPECT_EQ(slow->GetChannelExitStatus(channel), 3);
    EXPECT_EQ(relay.connections(), 1);
}

TEST_F(SharedConnection, ADeadOneIsReplacedBeforeAnOperationBegins)
{
    EXPECT_EQ(support::runCommand(*attach(), "echo one"), "one\n");
    relay.cut(); // The client may not have noticed when it is used again.
    EXPECT_EQ(support::runCommand(*attach(), "echo two"), "two\n");
    EXPECT_EQ(relay.connections(), 2);
    const auto first = attach();
    const auto second = attach();
    const int inFirst = start(*first, "echo one; cat");
    const int inSecond = start(*second, "echo two; cat");
    EXPECT_TRUE(prints(*first, inFirst, "one") && prints(*second, inSecond, "two"));
    relay.cut();
    EXPECT_LT(first->ChannelReadAndPoll(inFirst, 10000), 0);
    EXPECT_FALSE(second->ChannelReceiveToClose(inSecond));
    EXPECT_TRUE(second->ChannelReceivedClose(inSecond));
    EXPECT_THAT(second->LastErrorText(), HasSubstr("closed the connection"));
    EXPECT_EQ(second->OpenSessionChannel(), -1);
    EXPECT_EQ(support::runCommand(*attach(), "echo three"), "three\n");
    EXPECT_EQ(relay.connections(), 3);
}

TEST_F(SharedConnection, EachUserWaitsForASilentServerAsLongAsItsOwnLimit)
{
    const auto patient = attach(2400);
    const auto hasty = attach(400);
    const int inPatient = start(*patient, "echo x; cat");
    const int inHasty = start(*hasty, "echo x; cat");
    EXPECT_TRUE(prints(*patient, inPatient, "x") && prints(*hasty, inHasty, "x"));
    // A command that says nothing is no silent server.
    EXPECT_EQ(hasty->ChannelReadAndPoll(inHasty, 1000), 0);
    relay.stall(true);
    const auto begin = ssh::Clock::now();
    ssh::Clock::duration hastyTook{};
    std::thread other([&] {
        EXPECT_FALSE(hasty->ChannelReceiveToClose(inHasty));
        hastyTook = ssh::Clock::now() - begin;
    });
    EXPECT_FALSE(patient->ChannelReceiveToClose(inPatient));
    const auto patientTook = ssh::Clock::now() - begin;
    other.join();
    EXPECT_THAT(hasty->LastErrorText(), HasSubstr("silent for 400 ms"));
    EXPECT_THAT(patient->LastErrorText(), HasSubstr("silent for 2400 ms"));
    EXPECT_LT(hastyTook, std::chrono::milliseconds(1800));
    EXPECT_GT(patientTook, std::chrono::milliseconds(1900));
    relay.stall(false);
    EXPECT_EQ(support::runCommand(*attach(), "echo again"), "again\n");
    EXPECT_EQ(relay.connections(), 2);
}

// The unheld one, which is used later, is the clock for the other.
TEST_F(SharedConnection, EndsUnusedUnlessABatchHoldsWhatAPersonAnswered)
{
    platform::Pace::setFactor(0.005);
    SignInAnswers::hook() = [](const SignInQuestion&, const auto& answered) { answered("yes"); };
    auto batch = ConnectionPool::shared().openBatch(cluster.login()->login());
    ssh::CkoSsh held;
    ASSERT_TRUE(ConnectionPool::shared().attach(*cluster.login(), held, {5000, 5000}));
    ASSERT_TRUE(support::askNow(cluster.login()->login()));
    EXPECT_FALSE(ConnectionPool::shared().attach(*cluster.login(), held, {5000, 5000}));
    held.Disconnect();
    SignInAnswers::hook() = nullptr;
    // Another name of the login, so that it has no batch.
    const auto other = SVSSHPasswordInfo::createWithHost("other.test", platform::loginName(), "secret",
        MachineAccess{std::nullopt, std::nullopt, std::nullopt, true});
    ssh::CkoSsh unheld;
    ASSERT_FALSE(ConnectionPool::shared().attach(*other, unheld, {5000, 5000}));
    unheld.Disconnect();
    EXPECT_EQ(relay.open(), 2);
    ASSERT_TRUE(served([&] { return relay.open() == 1; }));
    EXPECT_EQ(support::runCommand(*attach(), "echo held"), "held\n");
    batch.reset();
    ASSERT_TRUE(served([&] { return relay.open() == 0; }));
    EXPECT_EQ(relay.connections(), 3); // The first met the unknown host.
}

class OneSession : public SharedConnection {
protected:
    OneSession() : SharedConnection("MaxSessions 1") { }
};

TEST_F(OneSession, ARefusedChannelMeansAnotherConnection)
{
    const auto first = attach();
    const int channel = start(*first, "echo first; cat");
    EXPECT_TRUE(prints(*first, channel, "first"));
    EXPECT_EQ(support::runCommand(*attach(), "echo second"), "second\n");
    EXPECT_EQ(relay.connections(), 2);
    // A session that goes in the middle of a command leaves its channel to the next one.
    for (int i = 0; i < 3; ++i) {
        const auto leaving = attach();
        EXPECT_TRUE(prints(*leaving, start(*leaving, "echo third; cat"), "third"));
    }
    EXPECT_LE(relay.connections(), 5);
    ASSERT_TRUE(first->ChannelSendClose(channel));
    EXPECT_TRUE(first->ChannelReceiveToClose(channel));
}

template <typename Base>
class BatchOn : public Base {
protected:
    using Base::Base;
    void SetUp() override
    {
        Base::SetUp();
        this->wrapper.executable("local", "solver").tasks({"", ""});
        this->wrapper.information("Project Name",
            makeProject(this->wrapper.folder() / "project",
                "#include <cstdio>\nint main() { std::puts(\"solved\"); }\n"));
        std::filesystem::create_directories(this->cluster / "TrelkindWorkDirectory/CachedExecutables");
        platform::Pace::setFactor(0.001);
    }
    void open(const platform::Value::Dictionary& alsoInEntry = {})
    {
        machine = this->cluster.machine();
        machine->fillFromPropertyList(alsoInEntry);
        app.machines().addControllerToEnd(machine);
        controller = app.openTaskWithName(this->wrapper.path());
        controller->connectMachine(*machine, "short");
    }
    SVTrelkindEngineLSF* engine() { return static_cast<SVTrelkindEngineLSF*>(controller->engine()); }
    void expectAllSolved()
    {
        ASSERT_TRUE(served([&] { return !engine(); }))
            << engine()->standsStill().value_or(engine()->panel().outputStatus.stringValue());
        EXPECT_EQ(this->wrapper.read("0/runOutput"), "solved\n");
        EXPECT_EQ(this->wrapper.read("1/runOutput"), "solved\n");
        EXPECT_EQ(this->cluster.names("TrelkindWorkDirectory").size(), 1u);
    }

    Program program;
    KRTrelkindApplication app;
    std::shared_ptr<KRTrelkindMachineLSF> machine;
    std::shared_ptr<KRTrelkindController> controller;
};

using PasswordBatch = BatchOn<SharedConnection>;
using OneSessionBatch = BatchOn<OneSession>;

TEST_F(PasswordBatch, SignsInOnce)
{
    platform::Pace::setFactor(0.02); // A connection that isn't used ends after more than a second.
    open();
    ASSERT_TRUE(served([&] { return engine()->hasBeenSubmitted(); }));
    while (engine()) {
        engine()->checkForOutput();
        ASSERT_TRUE(served([&] { return !engine() || !engine()->isBusy(); }));
    }
    expectAllSolved();
    EXPECT_EQ(relay.connections(), 1);
}

TEST_F(OneSessionBatch, IsTheSameWhereEachConnectionTakesOneChannel)
{
    open();
    expectAllSolved();
    EXPECT_GT(relay.connections(), 1);
}

// A host between by a key, which takes no password of the machine behind it.
class BehindJumpHosts : public SharedConnection {
protected:
    BehindJumpHosts() : jumpRelay(cluster.works() ? cluster.port() : 0)
    {
        MachineAddress::resolver() = [this](const std::string& name) {
            return name == LoopbackCluster::kName
                ? MachineAddress{"127.0.0.1", relay.port(), "first.test,second.test"}
                : MachineAddress{"127.0.0.1", jumpRelay.port()};
        };
        std::string publicLine;
        wrapper.write("../key", support::makeKeyText("ssh-ed25519", false, &publicLine));
        cluster.write("../authorized", publicLine);
    }
    support::Relay jumpRelay;
};
using JumpBatch = BatchOn<BehindJumpHosts>;

TEST_F(JumpBatch, SignsInOnceAndOutlivesTheHostBetween)
{
    cluster.write("scheduler/hold", "");
    platform::Pace::setFactor(1);
    open({{"Key File", wrapper.folder() / "key"}});
    ASSERT_TRUE(served([&] { return engine()->numberOfLooks() == 1 && !engine()->isBusy(); }));
    EXPECT_EQ(jumpRelay.connections(), 2); // To the first, and from there to the second.
    EXPECT_EQ(relay.connections(), 1);
    jumpRelay.stall(true);
    jumpRelay.cut();
    const auto look = [&] {
        engine()->checkForOutput();
        return served([&] { return !engine() || !engine()->isBusy(); });
    };
    ASSERT_TRUE(look());
    EXPECT_EQ(engine()->panel().outputStatus.stringValue(), "Could not connect to cluster.test");
    EXPECT_TRUE(engine()->unknownSince());
    jumpRelay.stall(false);
    std::filesystem::remove(cluster / "scheduler/hold");
    while (engine())
        ASSERT_TRUE(look());
    expectAllSolved();
}

// The server's list of passwords, in a folder that is there before the server.
struct CodeList {
    support::TemporaryFolder folder;
    std::string path() const { return folder / "codes"; }
};
class CodeServer : private CodeList, public SharedConnection {
protected:
    CodeServer()
        : SharedConnection(
            "UsePAM yes\nAuthenticationMethods keyboard-interactive\n", oneTimePasswords(path()))
    { }
    void write(const std::string& codes) const { support::writeFile(path(), codes); }
    std::string left() const { return support::readFile(path()); }
};
using CodeBatch = BatchOn<CodeServer>;

TEST_F(CodeBatch, SignsInOnceWithACodeThatIsTakenOnce)
{
    write("111111\n");
    int asked = 0;
    SignInAnswers::hook() = [&](const SignInQuestion& question, const auto& answered) {
        ++asked;
        answered(question.kind == SignInQuestion::Kind::HostKey ? "yes" : "111111");
    };
    open();
    machine->form().passwordField.setStringValue("");
    for (;;) { // The host's key, if it is met for the first time, and the code.
        const auto waits = [&] { return engine()->standsStill() && !engine()->isBusy(); };
        ASSERT_TRUE(served([&] { return left().empty() || waits(); }));
        if (left().empty())
            break;
        ASSERT_TRUE(support::askNow(machine->passwordInfo()->login())) << *engine()->standsStill();
        engine()->tryAgain();
    }
    expectAllSolved();
    EXPECT_EQ(left(), "");
    EXPECT_EQ(relay.connections(), asked + 1); // An attempt before each question, and one that got in.
}

TEST_F(CodeBatch, StaysWhenThePasswordChangesAndGoesOnWithTheNewOne)
{
    cluster.write("scheduler/hold", "");
    platform::Pace::setFactor(1);
    write("secret\n"); // For one login; there is none after it until the list has another one.
    open();
    ASSERT_TRUE(served([&] { return engine()->numberOfLooks() == 1 && !engine()->isBusy(); }));
    relay.cut();
    std::filesystem::remove(cluster / "scheduler/hold");
    const auto look = [&] {
        engine()->checkForOutput();
        return served([&] { return !engine() || !engine()->isBusy(); });
    };
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(look());
        EXPECT_EQ(engine()->panel().outputStatus.stringValue(),
            "Could not connect as user " + platform::loginName());
    }
    write("renewed\n");
    machine->form().passwordField.setStringValue("renewed");
    while (engine())
        ASSERT_TRUE(look());
    expectAllSolved();
    EXPECT_EQ(left(), "");
}

} // namespace
