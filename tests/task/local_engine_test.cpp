// Local runs, and the rules of a batch that every front end follows.

#include "diagnostics/KRCountLimiter.h"
#include "platform/FullDisk.h"
#include "platform/ProcessInfo.h"
#include "platform/process/Process.h"
#include "platform/process/SystemShell.h"
#include "task/WrapperOnDisk.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/engine/BatchCount.h"
#include "task/engine/ClearTasks.h"
#include "task/engine/SVEngineController.h"
#include "task/engine/SVTrelkindEngineLocal.h"
#include "task/runs/SVCopyFileTask.h"
#include "task/runs/ScriptRun.h"
#include "task/wrapper/ExecutableCheck.h"
#include "task/wrapper/TaskNumbers.h"
#include "toolkit/Noted.h"

#include <gmock/gmock.h>

#include <cmath>
#include <fmt/format.h>
#include <numeric>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace files = platform::files;

// A wrapper whose tasks the local engine runs, with polls twenty times as fast as usual.
struct LocalEngine : testing::Test {
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

    void open()
    {
        controller = KRTrelkindController::createFromWrapperName(wrapper.path());
        attach();
    }
    void attach()
    {
        controller->startLocalTask();
        engine = std::static_pointer_cast<SVTrelkindEngineLocal>(controller->engine()->shared_from_this());
    }
    void start()
    {
        open();
        engine->startTasks();
    }
    void start(const std::vector<std::string>& arguments, const std::string& program)
    {
        wrapper.tasks(arguments).executable(program);
        start();
    }
    bool started(int task)
    {
        return served([&] { return wrapper.has(fmt::format("{}/VTask_runStarted", task)); });
    }
    bool ended()
    {
        return served([this] { return !engine->isRunning() && engine->whichTasksAreRunning().empty(); }, 90);
    }
    std::string statuses() { return cells(controller->views()->taskList, {"Status"}); }
    bool startButtonIsShown()
    {
        EXPECT_NE(engine->panel().startButton.isHidden(), engine->panel().endButton.isHidden());
        return !engine->panel().startButton.isHidden();
    }

    WrapperOnDisk wrapper;
    std::shared_ptr<KRTrelkindController> controller;
    std::shared_ptr<SVTrelkindEngineLocal> engine;
};

constexpr const char* kWaitsForGo =
    "#!/bin/sh\necho x >> ../begun\nwhile [ ! -e ../go ]; do sleep 0.02; done\n";

TEST(ScriptRun, HasExactlyThisText)
{
    const ScriptRun run{"/a b/MacOSX/p", "/w/0/", "-n 5 > x", kTaskMarkers, {}, {}};
    EXPECT_EQ(run.scriptText(),
        "#!/bin/sh\n\ntouch VTask_runStarted\nnice \"/a b/MacOSX/p\" -n 5 > x >& runOutput\necho \""
            + platform::hostName() + "\" > VTask_runCompleted\n");
}

// The name of the program has characters that shells interpret.
TEST_F(LocalEngine, RunsAProgramInItsFolder)
{
    wrapper.tasks({"one 'two words'"}).write("0/VTask_runThis/left behind");
    wrapper.write("0/VTask_aborted");
    wrapper.executable(
        "#!/bin/sh\necho out $#: $2\necho err >&2\nexit 3\n", "it's \"ü\" $(touch pwned) `x` \\ 1");
    start();
    ASSERT_TRUE(ended());
    EXPECT_EQ(wrapper.read("0/runOutput"), "out 2: two words\nerr\n");
    EXPECT_EQ(wrapper.read("0/VTask_runCompleted"), platform::hostName() + "\n");
    EXPECT_TRUE(wrapper.has("0/VTask_runStarted"));
    EXPECT_FALSE(wrapper.has("0/VTask_runThis") || wrapper.has("0/pwned"));
    EXPECT_TRUE(wrapper.has("0/VTask_aborted")) << "left, because completed wins";
    EXPECT_EQ(statuses(), "Done|") << "the exit status of the program does not matter";
    EXPECT_FALSE(controller->engine()) << "the engine is detached when all tasks are finished";
}

TEST_F(LocalEngine, RunsFourAtATimeInOrderUnlessTheLimitChanges)
{
    start(std::vector<std::string>(10), kWaitsForGo);
    const auto begun = [&](std::size_t count) {
        return served([&] { return wrapper.read("begun").size() == 2 * count; });
    };
    ASSERT_TRUE(begun(4));
    EXPECT_EQ(engine->whichTasksAreRunning(), (std::set{0, 1, 2, 3}));
    EXPECT_FALSE(startButtonIsShown());
    const auto limit = [&](const char* text) {
        engine->panel().concurrency.commit(text);
        return engine->concurrency();
    };
    EXPECT_EQ(limit("0"), 1);
    EXPECT_EQ(limit("6"), 6);
    ASSERT_TRUE(begun(6));
    EXPECT_EQ(limit("100"), 32);
    wrapper.write("go");
    ASSERT_TRUE(ended());
    EXPECT_EQ(statuses(), "Done|Done|Done|Done|Done|Done|Done|Done|Done|Done|");
}

TEST_F(LocalEngine, ARunThatIgnoresTheSignalIsAwaitedByItsEngineAndLeftAloneByANewOne)
{
    start({""}, "#!/bin/bash\ntrap '' TERM\necho $$ >> pid\nwhile :; do sleep 0.1; done\n");
    ASSERT_TRUE(served([&] { return !wrapper.read("0/pid").empty(); }));
    const std::string pid = wrapper.read("0/pid");
    engine->endTasks();
    EXPECT_TRUE(engine->panel().endButton.isHidden());
    ASSERT_TRUE(ended());
    EXPECT_FALSE(isAlive(std::stoi(pid)));
    EXPECT_EQ(statuses(), "Aborted|");
    EXPECT_FALSE(wrapper.has("0/VTask_runThis"));
    EXPECT_TRUE(startButtonIsShown());
    EXPECT_TRUE(controller->engine()) << "not all tasks are finished";
    EXPECT_EQ(*engine->startAfterChecks(), 0) << "an aborted task has to be cleared first";

    // A run that is ending owns its folder, even without its marker.
    controller->taskInformation()[0]->clearData();
    engine->startTasks();
    ASSERT_TRUE(served([&] { return !wrapper.read("0/pid").empty(); }));
    const std::string second = wrapper.read("0/pid");
    wrapper.remove("0/VTask_runStarted");
    controller->endAllTasks();
    controller->taskInformation()[0]->updateBasedOnContent();
    EXPECT_TRUE(controller->taskInformation()[0]->taskShouldBeRun());
    auto old = engine;
    attach();
    engine->startTasks();
    ASSERT_TRUE(served([&] { return !old->isRunning() && old->whichTasksAreRunning().empty(); }));
    EXPECT_EQ(wrapper.read("0/pid"), second);
    old.reset();
    engine->startTasks();
    EXPECT_TRUE(served([&] { return wrapper.read("0/pid").size() > second.size(); }));
}

TEST_F(LocalEngine, AProcessThatNeverBeginsIsReplacedFortyTimes)
{
    platform::Pace::setFactor(0.005);
    // A shell that counts its starts and never reads the script.
    const std::string shell = wrapper.folder() / "shell";
    EXPECT_TRUE(files::writeFile(shell,
        "#!/bin/bash\n[ \"$1\" = -c ] && exec /bin/bash \"$@\"\n"
        "case \"$*\" in *runThis*) echo x >> starts; sleep 60;; *) exec /bin/bash \"$@\";; esac\n"));
    EXPECT_TRUE(files::setPermissions(shell, 0755));
    platform::systemshell::setPath(shell);
    start({""}, "#!/bin/bash\n");
    ASSERT_TRUE(ended());
    EXPECT_EQ(wrapper.read("0/starts").size(), 80U);
    EXPECT_FALSE(wrapper.has("0/VTask_runThis") || wrapper.has("0/VTask_aborted"));
    EXPECT_EQ(statuses(), "|") << "can be started again";
    EXPECT_THAT(wrapper.messages(), IsEmpty());
}

TEST_F(LocalEngine, AClosedWindowLetsItsRunsEndOnTheirOwn)
{
    for (const bool isToldToClose : {true, false}) {
        start({"", ""}, kWaitsForGo);
        ASSERT_TRUE(started(0) && started(1));
        EXPECT_TRUE(!isToldToClose || controller->windowShouldClose());
        const std::weak_ptr<KRTrelkindController> gone = controller;
        controller.reset();
        EXPECT_TRUE(served([&] { return gone.expired(); }));
        EXPECT_THAT(engine->startAfterChecks().error().text, HasSubstr("has closed"));
        wrapper.write("go");
        ASSERT_TRUE(ended());
        EXPECT_TRUE(wrapper.has("0/VTask_runCompleted") && wrapper.has("1/VTask_runCompleted"));
        for (const char* name : {"0", "1", "go"})
            wrapper.remove(name);
        const std::weak_ptr<SVTrelkindEngineLocal> idle = engine;
        engine.reset();
        EXPECT_TRUE(served([&] { return idle.expired(); }));
    }
}

TEST_F(LocalEngine, TheTimerRereadsTheTasksThatRun)
{
    platform::Pace::setFactor(0.02);
    start({""}, std::string(kWaitsForGo).insert(10, "printf 1234567 > SVProgress\n"));
    EXPECT_TRUE(engine->supervises());
    std::string logged;
    platform::setSystemLogReader([&](const std::string& line) { logged = line; });
    const auto task = controller->taskInformation()[0];
    EXPECT_TRUE(served([&] { return task->taskFraction() == 7; }));
    EXPECT_FALSE(task->hasBeenCommitted()) << "a local run shows in its markers alone";
    wrapper.write("go");
    ASSERT_TRUE(ended());
    EXPECT_FALSE(engine->supervises());
    platform::setSystemLogReader(nullptr);
    EXPECT_EQ(logged, "Checking");
}

TEST_F(LocalEngine, OfTwoWindowsOneRunsTheTasksAndNoneIsStartedTwice)
{
    wrapper.tasks({"a", "b"}).executable(kWaitsForGo);
    open();
    const auto first = engine;
    const auto firstController = controller;
    open();
    EXPECT_EQ(*first->startAfterChecks(), 2);
    EXPECT_THAT(engine->startAfterChecks().error().text, HasSubstr("is being run, or cleared, by another"));
    EXPECT_THAT(ClearTasks::clear(wrapper.path(), controller->taskInformation()).complaints,
        ElementsAre(HasSubstr("Task 1 belongs to a batch"), HasSubstr("Task 2 belongs to a batch")));
    ASSERT_TRUE(served([&] { return wrapper.read("begun") == "x\nx\n"; }));
    wrapper.write("go");
    ASSERT_TRUE(served([&] { return BatchCount::of(*firstController).isComplete() && !first->isRunning(); }));
    platform::MainLoop::main().runPending();
    EXPECT_EQ(*engine->startAfterChecks(), 0) << "the tasks are as the first one has left them";
    EXPECT_EQ(wrapper.read("begun"), "x\nx\n");
    EXPECT_EQ(BatchCount::of(*controller).sentence(), "2 of 2 done");
    EXPECT_EQ(ClearTasks::clear(wrapper.path(), controller->taskInformation()).cleared, 2);
}

TEST_F(LocalEngine, ARunFolderThatCanNotBeWrittenConcernsItsOwnTask)
{
    wrapper.tasks({"a", "b", "c"}).executable("#!/bin/sh\n");
    wrapper.remove("0");
    wrapper.write("0", "a file in its place");
    wrapper.remove("1");
    open();
    EXPECT_EQ(*engine->startAfterChecks(), 3);
    ASSERT_TRUE(ended());
    EXPECT_EQ(statuses(), "||Done|");
    EXPECT_THAT(wrapper.messages(),
        UnorderedElementsAre(
            "Task 1 can not be run.", "Task 2 can not be run.", "Could not run task", "Could not run task"));
    EXPECT_THAT(wrapper.lastLongMessage(),
        testing::MatchesRegex("Could not run the task \\([A-Za-z]+-.*/[01].*\\)\\."));
    EXPECT_EQ(wrapper.read("0"), "a file in its place");
    wrapper.remove("2");
    open();
    EXPECT_THAT(engine->startAfterChecks().error().text, HasSubstr("0 is not a folder"));
}

TEST_F(LocalEngine, TheStartButtonReportsWhyNothingIsStarted)
{
    wrapper.tasks({"a"});
    open();
    auto& panel = engine->panel();
    EXPECT_EQ(
        panel.startButton.title() + panel.endButton.title() + panel.concurrency.stringValue(), "StartEnd4");
    panel.startButton.press();
    EXPECT_THAT(wrapper.lastLongMessage(), HasSubstr("names no executable"));
    EXPECT_TRUE(startButtonIsShown());
    wrapper.write("0/VTask_runStarted");
    engine->panel().startButton.press();
    EXPECT_THAT(wrapper.messages(),
        ElementsAre("The tasks can not be run.", "Tasks of an earlier session are lost.",
            "No task is left to be run."));
    wrapper.tasks({"a"}).executable("#!/bin/sh\nsleep 60\n").remove("0/VTask_runStarted");
    open();
    engine->panel().startButton.press();
    EXPECT_TRUE(started(0));
    EXPECT_FALSE(startButtonIsShown());
    engine->panel().endButton.press();
    EXPECT_TRUE(ended() && wrapper.has("0/VTask_aborted"));
}

TEST(BatchRules, ManyNumbersAreAShortText)
{
    std::vector<int> all(10000);
    std::iota(all.begin(), all.end(), 1);
    EXPECT_EQ(numberRanges(all), "1-10000");
    EXPECT_EQ(numberRanges({3, 4, 5, 12, 14, 15}), "3-5, 12, 14-15");
    std::erase_if(all, [](int number) { return number % 2 == 0; });
    EXPECT_TRUE(numberRanges(all).ends_with(", 37, 39 and 4980 more")) << numberRanges(all);
    EXPECT_THAT(*taskNumbers({"3", "5-7", "6"}, 7), ElementsAre(3, 5, 6, 7));
    for (const char* wrong : {"0", "7-8", "5-4", "-3", "3-", "x", ""})
        EXPECT_FALSE(taskNumbers({"1", wrong}, 7)) << wrong;
}

std::string reasonOf(const platform::Status& status)
{
    return status.ok() ? std::string() : status.error().text;
}

TEST(BatchRules, AnExecutableThatCanNotRunAndAFolderThatCanNotBeWrittenAreReported)
{
    const TemporaryFolder folder;
    std::string ours = files::readFile("/proc/self/exe").value_or("").substr(0, 64), foreign = ours;
    foreign.at(18) = 99;
    std::string older = ours; // i386 on x86-64
    older.at(18) = 3;
    const std::tuple<std::string, std::uint32_t, const char*> cases[] = {
        {"#!/bin/sh\n", 0644, "is not marked as executable"}, {"", 0755, "is empty"},
        {foreign, 0755, "not a program for this machine"},
        {std::string("\xCF\xFA\xED\xFE") + "ab", 0755, "not a program for this machine"},
        {std::string("a\0b", 3), 0755, "not a program for this machine"}, {ours, 0755, ""}, {older, 0755, ""},
        {"#!/bin/sh\n", 0755, ""}, {"#!" + folder / std::string(80, 'i') + "\n", 0755, "interpreter"},
        {"echo without a first line\n", 0755, ""}};
    for (const auto& [bytes, mode, reason] : cases) {
        std::ignore = files::remove(folder / "p");
        EXPECT_TRUE(files::writeFile(folder / "p", bytes) && files::setPermissions(folder / "p", mode));
        const std::string told = reasonOf(checkExecutable(folder / "p"));
        EXPECT_TRUE(*reason ? told.find(reason) != std::string::npos : told.empty()) << bytes << ": " << told;
    }
    EXPECT_THAT(reasonOf(checkExecutable(folder / "missing")), HasSubstr("there is no file"));
    EXPECT_THAT(reasonOf(checkExecutable(folder.path())), HasSubstr("is a folder"));

    const TemporaryFolder empty;
    EXPECT_TRUE(checkWritable(empty.path()).ok());
    EXPECT_THAT(reasonOf(checkWritable(empty / "missing")), HasSubstr("No such file"));
    EXPECT_FALSE(checkWritable("/proc/self/fdinfo").ok());
    {
        const FullDisk disk(0);
        EXPECT_THAT(reasonOf(checkWritable(empty.path())), HasSubstr("File too large"));
    }
    EXPECT_THAT(files::contentsOfDirectory(empty.path()).value(), testing::IsEmpty());
}

TEST(BatchRules, TheRestIsEstimatedByProgressAndByTheTasksThatAreDone)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"", "", "", "", ""});
    const auto left = [&](int concurrency) {
        const auto controller = KRTrelkindController::createFromWrapperName(wrapper.path());
        return std::lround(secondsLeft(*controller, concurrency).value_or(-1));
    };
    EXPECT_EQ(left(4), -1) << "nothing to judge by";
    wrapper.write("0/VTask_runStarted", "", 500);
    wrapper.write("0/VTask_runCompleted", "", 400);
    EXPECT_EQ(left(1), 400);
    EXPECT_EQ(left(3), 133);
    EXPECT_EQ(left(9), 100) << "the longest one";
    wrapper.write("1/VTask_runStarted", "", 30);
    EXPECT_NEAR(static_cast<double>(left(1)), 370, 2);
    wrapper.write("1/SVProgress", "123456789012345"); // 15 % in 30 seconds.
    EXPECT_NEAR(static_cast<double>(left(1)), 470, 10);
    EXPECT_NEAR(static_cast<double>(left(9)), 170, 10);
    for (const char* task : {"1", "2", "3", "4"})
        wrapper.write(std::string(task) + "/VTask_aborted");
    EXPECT_EQ(left(1), -1) << "nothing is left";
}

TEST(BatchRules, ATaskThatAnotherProgramHasStartedIsNotCleared)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"a", "b"}).write("1/runOutput");
    const auto controller = KRTrelkindController::createFromWrapperName(wrapper.path());
    wrapper.write("0/VTask_runStarted");
    const auto process = platform::Process::launch({"/bin/sleep", {"60"}, wrapper / "0"});
    ASSERT_TRUE(process);
    const auto result = ClearTasks::clear(wrapper.path(), controller->taskInformation());
    EXPECT_EQ(result.cleared, 1);
    EXPECT_THAT(result.complaints,
        ElementsAre("Task 1 is running in process " + std::to_string((*process)->processIdentifier())
            + "; it was not cleared."));
    EXPECT_TRUE(wrapper.has("0/VTask_runStarted"));
    EXPECT_FALSE(wrapper.has("1/runOutput"));
    (*process)->terminate();
    EXPECT_TRUE((*process)->waitUntilExit(10));
}

// The older generation of engines: machines that take single tasks, and operations that report to the task.
struct OlderGeneration : LocalEngine {
    OlderGeneration()
    {
        wrapper.tasks({"ignored", "ignored", "ignored"})
            .executable("#!/bin/sh\necho \"$# arguments\"\nwhile [ ! -e ../go ]; do sleep 0.02; done\n");
        controller = app.openTaskWithName(wrapper.path());
    }
    std::shared_ptr<SVSingleTask> task(std::size_t number) { return controller->taskInformation()[number]; }
    bool begun(std::size_t number)
    {
        return served([&] { return wrapper.has(fmt::format("{}/runStarted", number)); });
    }
    bool left(std::size_t number)
    {
        return served([&] { return task(number)->isEmpty(); });
    }
    auto filesOf(std::size_t number)
    {
        return files::contentsOfDirectory(task(number)->folderName()).value();
    }

    KRTrelkindApplication app;
    const std::shared_ptr<SVEngineController> machine = std::make_shared<SVEngineController>();
};

TEST_F(OlderGeneration, AMachineRunsItsQueueOneAfterTheOther)
{
    EXPECT_EQ(machine->machineName(), "This Computer");
    EXPECT_EQ(SVEngineController::localMachine(), SVEngineController::localMachine());
    EXPECT_EQ(SVEngineController::remoteMachine("far"), nullptr);
    SVEngineController::remoteMaker() = [&](const std::string&) { return machine; };
    EXPECT_EQ(SVEngineController::remoteMachine("far"), machine);
    EXPECT_EQ(SVEngineController::remoteMachine(""), nullptr);
    SVEngineController::remoteMaker() = nullptr;
    for (std::size_t i : {0, 1, 2})
        machine->addTask(task(i));
    EXPECT_EQ(task(0)->statusString(), "Running on This Computer");
    EXPECT_EQ(task(1)->statusString(), "Waiting on This Computer");
    EXPECT_EQ(machine->numberOfTotalTasksWaiting(), 2);
    EXPECT_EQ(machine->currentTasksWaitingForOwner(controller.get()).size(), 2U);
    EXPECT_TRUE(machine->currentTasksWaitingForOwner(nullptr).empty());
    EXPECT_FALSE(app.applicationShouldTerminate());

    machine->abortJob(*task(0));
    EXPECT_TRUE(task(0)->isRunning()) << "only a waiting task can be removed";
    machine->abortJob(*task(2));
    EXPECT_TRUE(task(2)->isEmpty());
    machine->setMaxTaskNumber(0);
    EXPECT_EQ(machine->maxTaskNumber(), 1);
    ASSERT_TRUE(begun(0));
    EXPECT_EQ(app.countLimiter()->currentCount(), 1);
    machine->setMaxTaskNumber(3);
    machine->setMaxTaskNumber(1);
    EXPECT_EQ(machine->maxTaskNumber(), 1);
    machine->setHowManyConcurrentTasks(2);
    EXPECT_EQ(task(1)->statusString(), "Running on This Computer");
    wrapper.write("go");
    ASSERT_TRUE(left(0) && left(1));
    EXPECT_EQ(app.countLimiter()->currentCount(), 0);
    EXPECT_EQ(wrapper.read("0/runCompleted"), platform::hostName() + "\n");
    EXPECT_EQ(wrapper.read("0/runOutput"), "0 arguments\n") << "a controller's arguments are always empty";
    EXPECT_THAT(filesOf(0), UnorderedElementsAre("input", "runOutput", "runCompleted"));
    EXPECT_FALSE(task(0)->taskHasFinished()) << "these markers are not part of the state on disk";
}

TEST_F(OlderGeneration, AnAbortedRunLosesItsResultsAndTheNextOneStarts)
{
    for (std::size_t i : {0, 1, 2})
        machine->addTask(task(i));
    ASSERT_TRUE(begun(0));
    task(0)->contextMenu()->choose(0);
    EXPECT_EQ(task(0)->statusString(), "Running on This Computer (aborting)");
    ASSERT_TRUE(left(0));
    EXPECT_THAT(filesOf(0), ElementsAre("input"));
    EXPECT_EQ(task(1)->statusString(), "Running on This Computer");
    task(2)->removeFromProject(); // Its wrapper was closed.
    wrapper.write("go");
    EXPECT_TRUE(left(1) && left(2));
    EXPECT_FALSE(wrapper.has("2/runOutput"));
}

TEST_F(OlderGeneration, OutputIsReadAgainEverySecondWhileATaskRunsAndIsShown)
{
    controller->views()->taskList.selectRows({0});
    machine->addTask(task(0));
    toolkit::Noted output(controller->views()->outputFromProgram);
    for (const bool isSelected : {true, false, true}) {
        controller->views()->taskList.selectRows(isSelected ? std::set{0} : std::set<int>());
        output.takeReload();
        int reloads = 0;
        EXPECT_EQ(
            served([&] { return (reloads += output.takeReload()) > 3; }, isSelected ? 10 : 0.5), isSelected);
    }
    wrapper.write("go");
    EXPECT_TRUE(left(0));
    EXPECT_FALSE(task(0)->shouldContinuouslyUpdateOutput());
}

TEST_F(OlderGeneration, AnOperationTellsItsTaskAndLeavesItsScript)
{
    platform::OperationQueue queue;
    const auto operation = task(0)->createTask();
    EXPECT_EQ(operation->workDirectory(), wrapper / "0/");
    EXPECT_EQ(operation->executable(), wrapper / "MacOSX/program");
    queue.addOperation(operation);
    ASSERT_TRUE(begun(0));
    EXPECT_EQ(task(0)->statusString(), "Running");
    operation->cancel();
    ASSERT_TRUE(left(0));
    EXPECT_THAT(filesOf(0), UnorderedElementsAre("input", "runOutput", "runStarted", "runThis"));
    const auto cancelled = task(1)->createTask();
    cancelled->cancel();
    queue.addOperation(cancelled);
    EXPECT_TRUE(served([&] { return queue.operationCount() == 0; }));
    EXPECT_FALSE(wrapper.has("1/runThis"));
}

struct Copying : SVCopyFileTaskCallback, SVTaskAddition {
    void taskFinished(SVCopyFileTask& task) override
    {
        EXPECT_TRUE(platform::MainLoop::main().isLoopThread());
        success = task.success();
    }
    void updateSVProgress(double amount) override
    {
        sum += amount;
        ++count;
    }
    std::optional<bool> success;
    double sum = 0;
    int count = 0;
};

TEST_F(OlderGeneration, CopyingReplacesReportsItsIncreasesAndStopsAtAFailure)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(files::writeFile(folder / "a", "new") && files::writeFile(folder / "b", "old"));
    EXPECT_TRUE(files::createDirectories(folder / "tree/deep"));
    EXPECT_TRUE(files::writeFile(folder / "tree/deep/leaf", "x"));
    const struct {
        std::vector<SVCopyFileTask::CopyAction> actions;
        bool success;
        int reports;
    } cases[] = {
        {{}, true, 1},
        {{{folder / "a", folder / "b"}, {folder / "tree", folder / "copy"}, {folder / "a", folder / "a"}},
            true, 3},
        {{{folder / "missing", folder / "c"}, {folder / "a", folder / "d"}}, false, 1},
    };
    platform::Pace::setFactor(0);
    platform::OperationQueue queue;
    for (const auto& [actions, success, count] : cases) {
        const auto copying = std::make_shared<Copying>();
        queue.addOperation(SVCopyFileTask::createWithList(actions, copying, 1, copying));
        ASSERT_TRUE(served([&] { return copying->success.has_value(); }));
        EXPECT_EQ(copying->success, success);
        EXPECT_TRUE(served([&] { return copying->sum == 100; })) << copying->sum;
        EXPECT_EQ(copying->count, count);
    }
    EXPECT_EQ(*files::readFile(folder / "a") + *files::readFile(folder / "b"), "newnew");
    EXPECT_TRUE(files::exists(folder / "copy/deep/leaf"));
    EXPECT_FALSE(files::exists(folder / "d"));
}

} // namespace
