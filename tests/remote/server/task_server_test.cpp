// A batch that a task server runs: a real server over a real socket, and whatever may go wrong on the way.

#include "remote/server/SVRemoteEngineController.h"
#include "remote/server/ServedBatch.h"
#include "ssh/Support.h"

#include <gmock/gmock.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using State = SVRemoteEngineController::TransferState;
namespace files = platform::files;

class TaskServerTest : public testing::Test {
protected:
    TaskServerTest()
    {
        SVMachineDefinitionController::engineMaker() = [](const std::string& name, const std::string& user,
                                                           SVMachineDefinitionController& parent) {
            return SVRemoteEngineController::machine(name, user, &parent);
        };
        definition->setName("127.0.0.1");
        definition->setUser(batch.user());
    }
    ~TaskServerTest() override
    {
        definition.reset();
        platform::MainLoop::main().runPending();
        SVMachineDefinitionController::engineMaker() = nullptr;
    }

    void open(int tasks, const std::string& script)
    {
        batch.program(script);
        batch.wrapper.tasks(std::vector<std::string>(static_cast<std::size_t>(tasks)));
        controller = KRTrelkindController::createFromWrapperName(batch.wrapper.path());
    }
    SVRemoteEngineController* engine() const
    {
        return dynamic_cast<SVRemoteEngineController*>(definition->engineController());
    }
    int connect()
    {
        definition->connect();
        EXPECT_TRUE(served([this] { return definition->connectionStatus() != 1; }));
        return definition->connectionStatus();
    }
    SVSingleTask& task(std::size_t number) const { return *controller->taskInformation().at(number); }
    void addAll() const
    {
        for (const auto& one : controller->taskInformation()) {
            one->setShouldBeRun(true); // Forgets an earlier wish to end it.
            if (engine() && !one->taskHasFinished())
                engine()->addTask(one);
        }
    }
    bool isHeld(std::size_t number) const
    {
        const auto& waiting = engine()->currentTasksWaitingForOwner(controller.get());
        const auto& running = engine()->tasksRunning();
        const auto isIt = [&](const auto& one) { return one.get() == &task(number); };
        return engine()->transferStateOf(task(number)) != State::None
            || std::any_of(waiting.begin(), waiting.end(), isIt)
            || std::any_of(running.begin(), running.end(), isIt);
    }
    bool untilLeft(std::size_t number) const
    {
        return served([&] { return !engine() || !isHeld(number); });
    }
    bool untilAllEnded() const
    {
        bool all = true;
        for (std::size_t i = 0; i < controller->taskInformation().size(); ++i)
            all = untilLeft(i) && all;
        return all && engine();
    }
    bool untilCopying(const std::string& state) const
    {
        return served([&] { return batch.told("scp.state") == state + "\n"; });
    }
    int finished() const
    {
        int count = 0;
        for (const auto& one : controller->taskInformation()) {
            one->updateBasedOnContent();
            count += one->taskHasFinished() ? 1 : 0;
        }
        return count;
    }

    ServedBatch batch;
    std::shared_ptr<KRTrelkindController> controller;
    std::shared_ptr<SVMachineDefinitionController> definition = SVMachineDefinitionController::readFromFile();
};

TEST_F(TaskServerTest, RunsABatchAndLeavesNothingBehind)
{
    batch.startServer({"--jobs", "2"});
    EXPECT_EQ(files::attributes(batch.serverFolder() + "/port")->permissions, 0600U);
    open(3, "cat input; echo; echo result > result; echo changed > input; if [ -e status ]; then exit 3; fi");
    batch.wrapper.write("1/status", "3");
    batch.wrapper.write("2/runOutput", "of an earlier run"); // Removed there before the output is fetched.
    ASSERT_EQ(connect(), 2);
    EXPECT_EQ(engine()->machineName(), "127.0.0.1");
    EXPECT_EQ(SVEngineController::remoteMachine("x"), nullptr) << "nobody fills this hook here";
    addAll();
    EXPECT_TRUE(untilAllEnded());
    EXPECT_EQ(finished(), 3);
    EXPECT_EQ(batch.wrapper.read("0/result"), "result\n");
    EXPECT_EQ(batch.wrapper.read("0/runOutput"), "x\n");
    EXPECT_EQ(batch.wrapper.read("0/input"), "x") << "only new files come back";
    EXPECT_EQ(batch.wrapper.read("2/runOutput"), "of an earlier run");
    EXPECT_TRUE(task(1).hasFailed());
    EXPECT_FALSE(task(0).hasFailed());
    EXPECT_EQ(batch.lines("scp.calls"), 1 + 1 + 3 + 3) << "port, program once, inputs, outputs";
    const std::string client = batch.serverFolder() + "/1";
    const auto serial = controller->serialNumber();
    EXPECT_THAT(*files::contentsOfDirectory(fmt::format("{}/{}", client, serial)), ElementsAre("Executable"));
    definition->removeControllerNumber(serial);
    definition->removeControllerNumber(serial);
    EXPECT_THAT(*files::contentsOfDirectory(client), IsEmpty());
    definition->disconnect();
    EXPECT_EQ(engine(), nullptr);
    EXPECT_TRUE(served([&] { return !files::exists(client); }));
    EXPECT_THAT(*files::contentsOfDirectory(platform::Places::scratch()), IsEmpty());
    EXPECT_THAT(batch.wrapper.messages(), IsEmpty());
}

TEST_F(TaskServerTest, ShowsTheOutputOfASelectedTaskWhileItRuns)
{
    batch.startServer();
    open(1,
        "echo one; echo two; upto() { until [ -e \"$1\" ]; do sleep 0.05; done; }\nupto go; echo three; upto "
        "on");
    ASSERT_EQ(connect(), 2);
    addAll();
    ASSERT_TRUE(served([&] { return task(0).isRunning(); }));
    controller->views()->taskList.selectRows({0});
    const toolkit::Table& output = controller->views()->outputFromProgram;
    const auto shows = [&](const std::string& text) {
        return served([&] { return engine() && cells(output, {"Line"}) == text; });
    };
    EXPECT_TRUE(shows("one|two|"));
    const std::string there = fmt::format("{}/1/{}/0/", batch.serverFolder(), controller->serialNumber());
    EXPECT_TRUE(files::writeFile(there + "go", ""));
    EXPECT_TRUE(shows("one|two|three|"));
    EXPECT_EQ(engine()->getOutputLineNumber(7, task(0)), std::nullopt);
    EXPECT_FALSE(engine()->getOutputLineNumber(-1, task(0)));
    EXPECT_TRUE(served([&] { return engine()->loadLevel() > 0; })) << "the heartbeat brings it";
    controller->views()->taskList.selectRows({});
    EXPECT_TRUE(files::writeFile(there + "on", ""));
    EXPECT_TRUE(untilAllEnded());
    EXPECT_EQ(finished(), 1);
    EXPECT_THAT(batch.wrapper.messages(), IsEmpty());
}

// Each message in turn is the last that the server takes part in. The batch is whole after a reconnection.
TEST_F(TaskServerTest, AServerThatDiesAtAnyMessageCostsNothingButTime)
{
    struct Case {
        std::string message;
        std::string report;
    };
    const std::string silent = "Remote server didn't respond";
    const std::string notedByNext; // Message, whichever that is.
    platform::Pace::setFactor(0.15);
    for (const auto& [message, report] : std::vector<Case>{{"setUpConnection:", "Internal Error"},
             {"setupProject:wrapperName:forClientNumber:", "Could not transfer executable"},
             {"addedTask:", "Could not transfer task"}, {"startedComputingTask:", notedByNext},
             {"reportOutputForTask:", "Could not connect to task"},
             {"getOutputLine:", "Could not connect to task"}, {"newOutputLength:", notedByNext},
             {"finishedRunningTask:", notedByNext}, {"removeFilesInTaskOutput:", "Could not copy output"},
             {"removeTask:", "Could not copy output"}, {"respondsToSelector:", silent},
             {"checkHeartbeat:", silent}, {"abortTask:", "Could not transfer task"},
             {"removeTransferredTask:", "Could not transfer task"},
             {"removeProjectFolder:", "Internal Error"}}) {
        SCOPED_TRACE(message);
        batch.clean();
        const bool isLong = message.find("eartbeat") != message.npos || message.starts_with("responds")
            || message == "abortTask:" || message == "newOutputLength:";
        open(2, isLong ? "echo a; sleep 5" : "echo a; sleep 0.3");
        controller->views()->taskList.selectRows({0});
        batch.startServer({"--misbehave", "die@" + message});
        if (connect() == 2) {
            if (message == "removeTransferredTask:")
                batch.tell("scp.mode", "hang rBpq 1");
            addAll();
            if (message == "abortTask:") {
                ASSERT_TRUE(served([&] { return task(0).isRunning(); }));
                task(0).abortRun();
            } else if (message == "removeTransferredTask:") {
                ASSERT_TRUE(untilCopying("hangs"));
                task(1).retrySCP();
            }
            const toolkit::Table& output = controller->views()->outputFromProgram;
            EXPECT_TRUE(served([&] {
                cells(output, {"Line"});
                if (message == "removeProjectFolder:" && engine() && !isHeld(0) && !isHeld(1))
                    definition->removeControllerNumber(controller->serialNumber());
                return definition->connectionStatus() == 0;
            }));
        }
        EXPECT_EQ(definition->engineController(), nullptr);
        EXPECT_THAT(batch.wrapper.messages(), Contains(testing::HasSubstr(report)));
        for (const auto& one : controller->taskInformation())
            EXPECT_FALSE(one->hasBeenCommitted());
        batch.stopServer();
        batch.tell("scp.mode", "");
        if (isLong)
            batch.program("echo a");
        batch.startServer();
        ASSERT_EQ(connect(), 2);
        addAll();
        EXPECT_TRUE(untilAllEnded());
        EXPECT_EQ(finished(), 2);
        definition->disconnect();
        batch.stopServer();
    }
}

TEST_F(TaskServerTest, DoesNotWaitForASilentServerNorBelieveABabblingOne)
{
    for (const auto& [behavior, report] : {std::pair("silent@addedTask:", "Could not transfer task"),
             std::pair("slow@checkHeartbeat:", "Remote server didn't respond")}) {
        SCOPED_TRACE(behavior);
        batch.clean();
        open(1, "echo a; sleep 0.3");
        batch.startServer({"--misbehave", behavior});
        ASSERT_EQ(connect(), 2);
        addAll();
        EXPECT_TRUE(served([&] { return definition->connectionStatus() == 0; }));
        EXPECT_FALSE(task(0).hasBeenCommitted());
        EXPECT_THAT(batch.wrapper.messages(), Contains(report));
        batch.stopServer();
    }
    for (const std::string message : {"setUpConnection:", "startedComputingTask:", "newOutputLength:",
             "finishedRunningTask:", "getOutputLine:", "checkHeartbeat:", "respondsToSelector:"})
        for (int round = 0; round < 3; ++round) { // Another field is wrong each time.
            SCOPED_TRACE(message);
            batch.clean();
            open(1, "echo a; sleep 0.1");
            controller->views()->taskList.selectRows({0});
            batch.startServer({"--misbehave", "nonsense@" + message});
            if (connect() == 2) {
                addAll();
                EXPECT_TRUE(untilAllEnded());
                EXPECT_EQ(finished(), 1);
            } else {
                EXPECT_EQ(message, "setUpConnection:");
            }
            definition->disconnect();
            batch.stopServer();
        }
}

TEST_F(TaskServerTest, ServersThatCannotBeTrustedOrFoundAreRefused)
{
    const auto refusal = [this] {
        EXPECT_EQ(connect(), 0);
        return batch.wrapper.messages().empty() ? "" : batch.wrapper.messages().back();
    };
    EXPECT_EQ(refusal(), "Could not get port number on remote machine");
    EXPECT_THAT(batch.wrapper.lastLongMessage(), testing::HasSubstr("running on \"127.0.0.1\".\nPossible"));
    batch.startServer({"--misbehave", "wrong-port"});
    EXPECT_EQ(refusal(), "Unable to connect to remote machine");
    batch.stopServer();
    batch.startServer();
    const std::string portFile = batch.serverFolder() + "/port";
    const std::string content = files::readFile(portFile).value_or("");
    const std::string port = content.substr(0, content.find('\n'));
    EXPECT_TRUE(files::writeFile(portFile, port + "\n" + std::string(64, '0') + "\n"));
    EXPECT_EQ(refusal(), "The task server was refused.");
    EXPECT_THAT(batch.wrapper.lastLongMessage(), testing::HasSubstr("does not know the secret."));
    EXPECT_TRUE(files::writeFile(portFile, "soon\n"));
    const auto before = batch.wrapper.messages().size();
    EXPECT_EQ(connect(), 0) << "port 0";
    EXPECT_EQ(batch.wrapper.messages().size(), before);
    batch.stopServer();
    batch.startServer({"--without-secret"});
    EXPECT_EQ(refusal(), "The task server was refused.");
    definition->setAllowsServerWithoutSecret(true);
    EXPECT_EQ(connect(), 2);
    definition->disconnect();
    for (const std::string name : {"a b", "-h", "$(h)"}) {
        definition->setName(name);
        refusal();
        EXPECT_THAT(batch.wrapper.messages(), Contains("A copy was refused."));
    }
    EXPECT_EQ(SVRemoteEngineController::machine("", "u", nullptr), nullptr);
}

TEST_F(TaskServerTest, ACopyThatDoesNotStartIsStartedAgain)
{
    batch.startServer();
    open(1, "echo a");
    ASSERT_EQ(connect(), 2);
    const int before = batch.lines("touch.calls");
    batch.tell("touch.hangs", "3");
    addAll();
    EXPECT_TRUE(untilAllEnded());
    EXPECT_EQ(finished(), 1);
    EXPECT_GE(batch.lines("touch.calls") - before, 3 + 3);
    EXPECT_EQ(batch.told("touch.hangs"), "0\n");
    // The sixteenth start never comes.
    batch.clean();
    open(1, "echo b");
    const int again = batch.lines("touch.calls");
    batch.tell("touch.hangs", "100");
    addAll();
    EXPECT_TRUE(untilLeft(0));
    // On a busy machine a start may be replaced before it has got even there.
    EXPECT_LE(batch.lines("touch.calls") - again, 15);
    EXPECT_GT(batch.lines("touch.calls") - again, 10);
    EXPECT_FALSE(task(0).hasBeenCommitted());
    EXPECT_FALSE(task(0).canSubmitTo(*engine()));
    batch.tell("touch.hangs", "0");
}

TEST_F(TaskServerTest, TheUserEndsOrRepeatsACopy)
{
    batch.startServer();
    struct Case {
        std::string copy; // A part of scp's command line.
        bool retries;
    };
    for (const auto& [copy, retries] : std::vector<Case>{{"program", true}, {"0 " + batch.user(), true},
             {"/0 .", true}, {"program", false}, {"0 " + batch.user(), false}, {"/0 .", false}}) {
        SCOPED_TRACE(copy + (retries ? " again" : " ended"));
        batch.clean();
        open(1, "cat input");
        ASSERT_EQ(connect(), 2);
        batch.tell("scp.mode", "hang " + copy);
        addAll();
        ASSERT_TRUE(untilCopying("hangs"));
        const int calls = batch.lines("scp.calls");
        batch.tell("scp.mode", "");
        retries ? task(0).retrySCP() : task(0).abortSCP();
        EXPECT_TRUE(untilAllEnded());
        EXPECT_EQ(finished(), retries ? 1 : 0);
        EXPECT_EQ(batch.wrapper.read("0/runOutput"), retries ? "x" : "") << "of the whole input";
        EXPECT_EQ(batch.lines("scp.calls") > calls, retries);
        EXPECT_FALSE(task(0).hasBeenCommitted());
        // What fails isn't repeated.
        batch.clean();
        batch.tell("scp.mode", "fail " + copy);
        open(1, "echo a");
        addAll();
        EXPECT_TRUE(untilAllEnded());
        EXPECT_EQ(batch.lines("scp.state"), 1);
        EXPECT_FALSE(task(0).canSubmitTo(*engine()));
        batch.tell("scp.mode", "");
        definition->disconnect();
    }
}

TEST_F(TaskServerTest, EndsTasksWhereverTheyAre)
{
    batch.startServer({"--jobs", "1"});
    open(3, "echo a; sleep 100");
    ASSERT_EQ(connect(), 2);
    addAll();
    // Whichever copy has arrived first.
    std::vector<std::size_t> order{0, 1, 2};
    const auto isOnServer = [&](std::size_t number) {
        return engine()->transferStateOf(task(number)) == State::OnServer;
    };
    ASSERT_TRUE(served([&] {
        std::sort(order.begin(), order.end(),
            [&](auto one, auto other) { return task(one).isRunning() > task(other).isRunning(); });
        return task(order[0]).isRunning() && std::all_of(order.begin(), order.end(), isOnServer);
    }));
    task(order[1]).abortRun(); // Waits there.
    EXPECT_TRUE(untilLeft(order[1]));
    task(order[0]).abortRun(); // Runs.
    EXPECT_TRUE(untilLeft(order[0]));
    EXPECT_TRUE(served([&] { return task(order[2]).isRunning(); }));
    controller.reset(); // The window of a task that runs is closed.
    EXPECT_FALSE(batch.wrapper.has("0/runOutput"));
    EXPECT_THAT(batch.wrapper.messages(), IsEmpty());
    definition->disconnect();
}

// A server with a key, and programs of this machine that find it. Null where there is none.
std::unique_ptr<support::RealServer> realServer(const ServedBatch& batch)
{
    std::string line;
    const std::string key = batch.folder() + "/key";
    EXPECT_TRUE(files::writeFile(key, support::makeKeyText("ssh-ed25519", false, &line)));
    EXPECT_TRUE(files::setPermissions(key, 0600));
    auto sshd = support::RealServer::openSsh(line + "\n");
    if (!sshd)
        return nullptr;
    EXPECT_TRUE(files::writeFile(batch.folder() + "/ssh.config",
        fmt::format("Port {}\nIdentityFile {}\nIdentitiesOnly yes\nStrictHostKeyChecking no\n"
                    "UserKnownHostsFile /dev/null\nLogLevel ERROR\n",
            sshd->port(), key)));
    const std::string scp = batch.bin() + "/scp";
    EXPECT_TRUE(files::writeFile(
        scp, "#!/bin/sh\nexec /usr/bin/scp -F '" + batch.folder() + "/ssh.config' \"$@\"\n"));
    EXPECT_TRUE(files::setPermissions(scp, 0755));
    std::ignore = files::remove(batch.bin() + "/touch");
    platform::Pace::setFactor(1);
    return sshd;
}

// The account's folder of the server is this one.
TEST_F(TaskServerTest, CopiesWithTheRealScp)
{
    const auto sshd = realServer(batch);
    if (!sshd)
        GTEST_SKIP() << "There is no OpenSSH server.";
    batch.startServer();
    open(2, "cat input 'a b/c d' > 'out put'");
    for (const char* number : {"0", "1"})
        batch.wrapper.write(std::string(number) + "/a b/c d", "deep");
    ASSERT_EQ(connect(), 2);
    addAll();
    EXPECT_TRUE(untilAllEnded());
    EXPECT_EQ(finished(), 2);
    EXPECT_EQ(batch.wrapper.read("1/out put"), "xdeep");
    EXPECT_THAT(batch.wrapper.messages(), IsEmpty());
    definition->disconnect();
}

TEST_F(TaskServerTest, StartsAServerThroughSsh)
{
    const auto outcome = [this](const std::string& script, const std::string& path) {
        const std::string ssh = batch.bin() + "/ssh";
        EXPECT_TRUE(files::writeFile(ssh, "#!/bin/bash\n" + script));
        EXPECT_TRUE(files::setPermissions(ssh, 0755));
        SVRemoteEngineController::sshProgram() = ssh;
        auto started = SVRemoteEngineController::machine("127.0.0.1", batch.user(), nullptr);
        auto dictionary =
            std::make_shared<platform::Value>(platform::Value::Dictionary{{"ServerPath", path}});
        auto status = started->launchServerThroughSSH(dictionary)->textFor("Status").value_or("");
        const std::weak_ptr<SVEngineController> looking = started; // For the port, on a worker thread.
        started.reset();
        EXPECT_TRUE(served([&] { return looking.expired(); }));
        return status;
    };
    EXPECT_EQ(outcome("echo \"$@\" > " + batch.folder() + "/ssh.calls", "/opt/a server"), "");
    EXPECT_EQ(batch.told("ssh.calls"), batch.user() + "@127.0.0.1 /opt/a server\n");
    EXPECT_EQ(outcome("exec sleep 30", "/opt/server"), "Failed") << "it doesn't detach";
    EXPECT_EQ(outcome("", "/opt/server; rm x"), "Failed");
    EXPECT_THAT(batch.wrapper.messages(), Contains("Could not run task"));
    if (const auto sshd = realServer(batch)) {
        const std::string launch = batch.folder() + "/launch";
        EXPECT_TRUE(files::writeFile(launch,
            fmt::format("#!/bin/sh\n{} --folder {} > /dev/null 2>&1 < /dev/null &\necho $! > {}/pid\n",
                TASKSERVER, batch.serverFolder(), batch.folder())));
        EXPECT_TRUE(files::setPermissions(launch, 0755));
        EXPECT_TRUE(files::createDirectories(platform::Places::varTmp()));
        EXPECT_EQ(outcome("exec /usr/bin/ssh -F '" + batch.folder() + "/ssh.config' \"$@\"", launch), "");
        EXPECT_TRUE(served([&] { return files::exists(batch.serverFolder() + "/port"); }));
        ::kill(std::stoi(batch.told("pid")), SIGTERM);
        EXPECT_TRUE(served([&] { return !files::exists(batch.serverFolder() + "/port"); }));
    }
    SVRemoteEngineController::sshProgram() = "/usr/bin/ssh";
}

} // namespace
