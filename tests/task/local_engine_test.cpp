#include "platform/ProcessInfo.h"
#include "platform/process/Process.h"
#include "platform/process/SystemShell.h"
#include "task/KRTrelkindController.h"
#include "task/SVTrelkindEngineLocal.h"
#include "task/ScriptRun.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <sstream>
#include <tuple>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace files = platform::files;

// A wrapper whose tasks the local engine runs, with polls twenty times as fast as in real life.
class LocalEngine : public testing::Test {
protected:
    LocalEngine() { platform::Pace::setFactor(0.05); }
    ~LocalEngine() override
    {
        if (engine) {
            engine->endTasks();
            EXPECT_TRUE(ended());
        }
        EXPECT_TRUE(platform::Process::finishTerminations(20));
        platform::Pace::setFactor(1);
        platform::systemshell::setPath("");
    }

    SVTrelkindEngineLocal& start(const std::vector<std::string>& arguments, const std::string& program)
    {
        wrapper.tasks(arguments).executable(program);
        return start();
    }
    SVTrelkindEngineLocal& start()
    {
        controller = KRTrelkindController::createFromWrapperName(wrapper.path());
        controller->startLocalTask();
        engine = std::static_pointer_cast<SVTrelkindEngineLocal>(controller->engine()->shared_from_this());
        engine->startTasks();
        return *engine;
    }
    bool ended()
    {
        return served([this] { return !engine->isRunning() && engine->whichTasksAreRunning().empty(); });
    }
    std::vector<std::string> statuses()
    {
        std::vector<std::string> words;
        for (int row = 0; row < controller->views()->taskList.numberOfRows(); ++row)
            words.push_back(toolkit::cellText(controller->views()->taskList.value("Status", row)));
        return words;
    }

    WrapperOnDisk wrapper;
    std::shared_ptr<KRTrelkindController> controller;
    std::shared_ptr<SVTrelkindEngineLocal> engine;
};

TEST(ScriptRun, SaysExactlyThis)
{
    const ScriptRun run{"/a b/MacOSX/p", "/w/0/", "-n 5 > x", kTaskMarkers, {}, {}};
    EXPECT_EQ(run.scriptText(),
        "#!/bin/sh\n\ntouch VTask_runStarted\nnice \"/a b/MacOSX/p\" -n 5 > x >& runOutput\necho \""
            + platform::hostName() + "\" > VTask_runCompleted\n");
    const ScriptRun older{"/p", "/w/0/", "", kOlderMarkers, {}, {}};
    EXPECT_EQ(older.scriptText(),
        "#!/bin/sh\n\ntouch runStarted\nnice \"/p\"  >& runOutput\necho \"" + platform::hostName()
            + "\" > runCompleted\n");
}

// Where /bin/sh refuses the script's redirection, every run would stay at "Running" for good.
TEST_F(LocalEngine, RunsWhateverShellStandsForTheSystems)
{
    for (const char* shell : {"/bin/dash", "/bin/bash"}) {
        SCOPED_TRACE(shell);
        ASSERT_TRUE(files::exists(shell));
        platform::systemshell::setPath(shell);
        std::ignore = files::remove(wrapper / "0");
        start({"one 'two words'"}, "#!/bin/sh\necho out $#: $2\necho err >&2\nexit 3\n");
        ASSERT_TRUE(ended());
        EXPECT_EQ(wrapper.read("0/runOutput"), "out 2: two words\nerr\n");
        EXPECT_EQ(wrapper.read("0/VTask_runCompleted"), platform::hostName() + "\n");
        EXPECT_TRUE(wrapper.has("0/VTask_runStarted"));
        EXPECT_FALSE(wrapper.has("0/VTask_runThis"));
        EXPECT_THAT(statuses(), ElementsAre("Done")) << "the program's own status is not looked at";
        EXPECT_FALSE(controller->engine()) << "all tasks are finished, and the engine leaves";
    }
}

TEST_F(LocalEngine, RunsFourAtATimeInOrderAndAsManyAsItIsTold)
{
    std::vector<std::string> arguments(10, "");
    start(arguments, "#!/bin/sh\nwhile [ ! -e ../go ]; do sleep 0.02; done\n");
    const auto started = [&] {
        int count = 0;
        for (int i = 0; i < 10; ++i)
            count += wrapper.has(std::to_string(i) + "/VTask_runStarted");
        return count;
    };
    ASSERT_TRUE(served([&] { return started() == 4; }));
    EXPECT_EQ(engine->whichTasksAreRunning(), (std::set{0, 1, 2, 3}));
    EXPECT_TRUE(engine->panel().startButton.isHidden());
    EXPECT_FALSE(engine->panel().endButton.isHidden());

    const auto limit = [&](const char* text) {
        engine->panel().concurrency.commit(text);
        engine->changeConcurrency(engine->panel().concurrency);
        return engine->concurrency();
    };
    EXPECT_EQ(limit("0"), 1);
    EXPECT_EQ(limit("6"), 6);
    ASSERT_TRUE(served([&] { return started() == 6; }));
    EXPECT_EQ(limit("100"), 32);
    wrapper.write("go");
    ASSERT_TRUE(ended());
    EXPECT_THAT(statuses(), testing::Each("Done"));
}

TEST_F(LocalEngine, SkipsWhatWasStartedAndKeepsAnOldAbortMarker)
{
    wrapper.tasks({"", "", ""}).executable("#!/bin/sh\necho ran\n");
    wrapper.write("0/VTask_runStarted");
    wrapper.write("1/VTask_aborted");
    start();
    ASSERT_TRUE(ended());
    EXPECT_FALSE(wrapper.has("0/runOutput"));
    EXPECT_TRUE(wrapper.has("1/VTask_aborted"));
    EXPECT_THAT(statuses(), ElementsAre("Running", "Done", "Done"));
    EXPECT_TRUE(controller->engine()) << "not all are finished";
    EXPECT_FALSE(engine->panel().startButton.isHidden());
    EXPECT_TRUE(engine->panel().endButton.isHidden());
}

// The program starts another that has left for a session of its own, and all of them ignore the polite
// signal.
TEST_F(LocalEngine, EndingLeavesNothingOfARunAlive)
{
    start({"", ""},
        "#!/bin/bash\ntrap '' TERM HUP INT\n"
        "(trap '' TERM; echo $BASHPID >> pids; while :; do sleep 0.1; done) &\n"
        "setsid bash -c \"trap '' TERM; echo \\$\\$ >> pids; while :; do sleep 0.1; done\" &\n"
        "echo $$ >> pids\nwhile :; do sleep 0.1; done\n");
    const auto pids = [&](int task) {
        std::vector<pid_t> found;
        std::istringstream text(wrapper.read(std::to_string(task) + "/pids"));
        for (pid_t pid = 0; text >> pid;)
            found.push_back(pid);
        return found;
    };
    ASSERT_TRUE(served([&] { return pids(0).size() == 3 && pids(1).size() == 3; }));
    engine->endTasks();
    EXPECT_TRUE(engine->panel().endButton.isHidden());
    ASSERT_TRUE(ended());
    // The end is told when nothing is left that could still write into the folder.
    for (int task : {0, 1})
        for (const pid_t pid : pids(task))
            EXPECT_FALSE(isAlive(pid)) << "process " << pid << " of task " << task << " still runs";
    EXPECT_THAT(statuses(), ElementsAre("Aborted", "Aborted"));
    EXPECT_FALSE(wrapper.has("0/VTask_runThis"));
    EXPECT_FALSE(engine->panel().startButton.isHidden());
}

TEST_F(LocalEngine, EndingTellsNothingOfTasksThatWaited)
{
    start({"", "", "", "", "", ""}, "#!/bin/sh\nexec sleep 60\n");
    ASSERT_TRUE(served([&] { return wrapper.has("3/VTask_runStarted"); }));
    engine->endTasks();
    ASSERT_TRUE(ended());
    EXPECT_THAT(statuses(), ElementsAre("Aborted", "Aborted", "Aborted", "Aborted", "", ""));
    EXPECT_FALSE(wrapper.has("4/VTask_runThis"));
}

// The folder of a run that is ending is that run's, also when its marker isn't there yet.
TEST_F(LocalEngine, ANewEngineLeavesARunAloneThatTheOldOneIsEnding)
{
    start({""}, "#!/bin/sh\ntrap '' TERM\necho x >> starts\nsleep 60 & wait\n");
    ASSERT_TRUE(served([&] { return wrapper.has("0/starts"); }));
    std::ignore = files::remove(wrapper / "0/VTask_runStarted");
    controller->endAllTasks();
    controller->taskInformation()[0]->updateBasedOnContent();
    EXPECT_TRUE(controller->taskInformation()[0]->taskShouldBeRun());
    controller->startLocalTask();
    const auto old = std::exchange(
        engine, std::static_pointer_cast<SVTrelkindEngineLocal>(controller->engine()->shared_from_this()));
    engine->startTasks();
    ASSERT_TRUE(served([&] { return !old->isRunning() && old->whichTasksAreRunning().empty(); }));
    EXPECT_EQ(wrapper.read("0/starts"), "x\n");
}

TEST_F(LocalEngine, AProcessThatNeverBeginsIsReplacedFortyTimesAndGivenUpSilently)
{
    platform::Pace::setFactor(0.005);
    // A shell that counts its starts and never reads the script.
    EXPECT_TRUE(files::writeFile(wrapper.folder() / "shell",
        "#!/bin/bash\n[ \"$1\" = -c ] && exec /bin/bash \"$@\"\n"
        "case \"$*\" in *runThis*) echo x >> starts; sleep 60;; *) exec /bin/bash \"$@\";; esac\n"));
    EXPECT_TRUE(files::setPermissions(wrapper.folder() / "shell", 0755));
    platform::systemshell::setPath(wrapper.folder() / "shell");
    start({""}, "#!/bin/bash\n");
    ASSERT_TRUE(ended());
    EXPECT_EQ(wrapper.read("0/starts").size(), 80U);
    EXPECT_FALSE(wrapper.has("0/VTask_runThis"));
    EXPECT_FALSE(wrapper.has("0/VTask_aborted"));
    EXPECT_THAT(statuses(), ElementsAre("")) << "eligible for the next start";
    EXPECT_THAT(wrapper.messages(), IsEmpty());
}

TEST_F(LocalEngine, ARunFolderThatCanNotBeUsedIsToldAndTheOthersRun)
{
    wrapper.tasks({"", "", ""}).executable("#!/bin/sh\necho ran\n");
    std::ignore = files::remove(wrapper / "0");
    std::ignore = files::remove(wrapper / "1");
    wrapper.write("1", "a file");
    start();
    ASSERT_TRUE(ended());
    EXPECT_THAT(statuses(), ElementsAre("", "", "Done"));
    EXPECT_THAT(wrapper.messages(), ElementsAre("Could not run task", "Could not run task"));
    EXPECT_THAT(wrapper.lastLongMessage(),
        testing::MatchesRegex("Could not run the task \\([A-Za-z]+-.*/[01].*\\)\\."));
    EXPECT_EQ(wrapper.read("1"), "a file");
}

TEST_F(LocalEngine, NamesOfAnyKindRunTheProgramThatTheyName)
{
    const std::string name = "it's \"ü\" $(touch pwned) `x` \\ 1";
    wrapper.tasks({"\"$PWD\""}).executable("#!/bin/sh\necho \"$1\" | wc -l\n", name);
    start();
    ASSERT_TRUE(ended());
    EXPECT_THAT(wrapper.read("0/runOutput"), testing::MatchesRegex(" *1\n"));
    EXPECT_FALSE(wrapper.has("0/pwned"));
}

TEST_F(LocalEngine, AClosedWindowLetsItsRunsEndOnTheirOwn)
{
    start({"", ""}, "#!/bin/sh\nwhile [ ! -e ../go ]; do sleep 0.02; done\n");
    ASSERT_TRUE(served([&] { return wrapper.has("1/VTask_runStarted"); }));
    EXPECT_TRUE(controller->windowShouldClose());
    const std::weak_ptr<KRTrelkindController> gone = controller;
    controller.reset();
    EXPECT_TRUE(served([&] { return gone.expired(); }));
    wrapper.write("go");
    EXPECT_TRUE(
        served([&] { return wrapper.has("0/VTask_runCompleted") && wrapper.has("1/VTask_runCompleted"); }));
    const std::weak_ptr<SVTrelkindEngineLocal> idle = engine;
    engine.reset();
    EXPECT_TRUE(served([&] { return idle.expired(); }));
}

TEST_F(LocalEngine, TheTimerRereadsTheTasksThatRun)
{
    platform::Pace::setFactor(0.02);
    start({""}, "#!/bin/sh\nprintf 1234567 > SVProgress\nwhile [ ! -e ../go ]; do sleep 0.02; done\n");
    EXPECT_TRUE(engine->supervises());
    EXPECT_TRUE(served([&] { return controller->taskInformation()[0]->taskFraction() == 7; }));
    EXPECT_FALSE(controller->taskInformation()[0]->hasBeenCommitted())
        << "a local run shows in its markers alone";
    wrapper.write("go");
    ASSERT_TRUE(ended());
    EXPECT_FALSE(engine->supervises());
}

} // namespace
