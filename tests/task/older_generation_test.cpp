// The older generation of engines: machines that take single tasks, and operations that report to the task.

#include "diagnostics/KRCountLimiter.h"
#include "platform/ProcessInfo.h"
#include "task/KRTrelkindApplication.h"
#include "task/SVCopyFileTask.h"
#include "task/SVEngineController.h"
#include "task/WrapperOnDisk.h"
#include "toolkit/Noted.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
namespace files = platform::files;

class OlderGeneration : public testing::Test {
protected:
    OlderGeneration()
    {
        platform::Pace::setFactor(0.05);
        wrapper.tasks({"ignored", "ignored", "ignored"})
            .executable("#!/bin/sh\necho \"$# arguments\"\nwhile [ ! -e ../go ]; do sleep 0.02; done\n");
        controller = app.openTaskWithName(wrapper.path());
    }
    ~OlderGeneration() override
    {
        EXPECT_TRUE(platform::Process::finishTerminations(20));
        platform::Pace::setFactor(1);
    }
    std::shared_ptr<SVSingleTask> task(std::size_t number) { return controller->taskInformation()[number]; }
    bool started(std::size_t number)
    {
        return served([&] { return wrapper.has(std::to_string(number) + "/runStarted"); });
    }
    bool left(std::size_t number)
    {
        return served([&] { return task(number)->isEmpty(); });
    }
    auto filesOf(std::size_t number)
    {
        return files::contentsOfDirectory(task(number)->folderName()).value();
    }

    WrapperOnDisk wrapper;
    KRTrelkindApplication app;
    std::shared_ptr<KRTrelkindController> controller;
};

TEST_F(OlderGeneration, AMachineRunsItsQueueOneAfterTheOther)
{
    const auto machine = std::make_shared<SVEngineController>();
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
    ASSERT_TRUE(started(0));
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
    const auto machine = std::make_shared<SVEngineController>();
    for (std::size_t i : {0, 1, 2})
        machine->addTask(task(i));
    ASSERT_TRUE(started(0));
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
    const auto machine = std::make_shared<SVEngineController>();
    machine->addTask(task(0));
    controller->views()->taskList.selectRows({0});
    toolkit::Noted output(controller->views()->outputFromProgram);
    int reloads = 0;
    EXPECT_TRUE(served([&] { return (reloads += output.takeReload()) > 3; }));
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
    ASSERT_TRUE(started(0));
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
    EXPECT_TRUE(files::writeFile(folder / "a", "new"));
    EXPECT_TRUE(files::writeFile(folder / "b", "old"));
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
    EXPECT_EQ(files::readFile(folder / "a"), "new");
    EXPECT_EQ(files::readFile(folder / "b"), "new");
    EXPECT_TRUE(files::exists(folder / "copy/deep/leaf"));
    EXPECT_FALSE(files::exists(folder / "d"));
}

} // namespace
