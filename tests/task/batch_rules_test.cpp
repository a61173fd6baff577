// What keeps a user's data safe, whichever front end asks: what is looked at before a run, who may start and
// clear tasks, how a batch is counted.

#include "task/BatchCount.h"
#include "task/ClearTasks.h"
#include "task/ExecutableCheck.h"
#include "task/KRTrelkindApplication.h"
#include "task/SVTrelkindEngineLocal.h"
#include "task/TaskNumbers.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <csignal>
#include <numeric>
#include <sys/resource.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
namespace files = platform::files;

TEST(BatchRules, ManyNumbersAreAShortText)
{
    std::vector<int> all(10000);
    std::iota(all.begin(), all.end(), 1);
    EXPECT_EQ(numberRanges(all), "1-10000");
    EXPECT_EQ(numberRanges({3, 4, 5, 12, 14, 15}), "3-5, 12, 14-15");
    std::erase_if(all, [](int number) { return number % 2 == 0; });
    EXPECT_TRUE(numberRanges(all).ends_with(", 37, 39 and 4980 more")) << numberRanges(all);
}

std::string reasonOf(const platform::Status& status)
{
    return status.ok() ? std::string() : status.error().text;
}

TEST(BatchRules, AnExecutableThatCanNotRunHereIsTold)
{
    const TemporaryFolder folder;
    const auto write = [&](const std::string& bytes, std::uint32_t mode) {
        std::ignore = files::remove(folder / "p");
        std::ignore = files::writeFile(folder / "p", bytes);
        std::ignore = files::setPermissions(folder / "p", mode);
        return reasonOf(checkExecutable(folder / "p"));
    };
    std::string ours = files::readFile("/proc/self/exe").value_or("").substr(0, 64);
    std::string foreign = ours;
    foreign.at(18) = 99;
    EXPECT_THAT(reasonOf(checkExecutable(folder / "missing")), HasSubstr("there is no file"));
    EXPECT_THAT(reasonOf(checkExecutable(folder.path())), HasSubstr("is a folder"));
    EXPECT_THAT(write("#!/bin/sh\n", 0644), HasSubstr("is not marked as executable"));
    EXPECT_THAT(write("", 0755), HasSubstr("is empty"));
    EXPECT_THAT(write(foreign, 0755), HasSubstr("not a program for this machine"));
    EXPECT_THAT(
        write(std::string("\xCF\xFA\xED\xFE\0\0", 6), 0755), HasSubstr("not a program for this machine"));
    EXPECT_EQ(write(ours, 0755), "");
    EXPECT_EQ(write("#!/bin/sh\n", 0755), "");
    EXPECT_THAT(write("#!" + folder / std::string(80, 'i') + "\n", 0755), HasSubstr("interpreter"));
    EXPECT_EQ(write("echo without a first line\n", 0755), "");
}

TEST(BatchRules, AFolderThatTakesNothingIsTold)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(checkWritable(folder.path()).ok());
    EXPECT_THAT(files::contentsOfDirectory(folder.path()).value(), testing::IsEmpty());
    EXPECT_THAT(reasonOf(checkWritable(folder / "missing")), HasSubstr("No such file"));
    EXPECT_FALSE(checkWritable("/proc/self/fdinfo").ok());
    signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit nothing{0, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &nothing);
    EXPECT_THAT(reasonOf(checkWritable(folder.path())), HasSubstr("File too large"));
    setrlimit(RLIMIT_FSIZE, &former);
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_THAT(files::contentsOfDirectory(folder.path()).value(), testing::IsEmpty());
}

class Batch : public testing::Test {
protected:
    struct Opened {
        explicit Opened(const std::string& path)
            : controller(KRTrelkindController::createFromWrapperName(path))
        {
            controller->startLocalTask();
            engine =
                std::static_pointer_cast<SVTrelkindEngineLocal>(controller->engine()->shared_from_this());
        }
        std::shared_ptr<KRTrelkindController> controller;
        std::shared_ptr<SVTrelkindEngineLocal> engine;
    };
    static bool served(const std::function<bool()>& condition)
    {
        return platform::MainLoop::main().runUntil(condition, 20);
    }
    static void finish(const Opened& opened)
    {
        opened.engine->endTasks();
        EXPECT_TRUE(served([&] { return !opened.engine->isRunning(); }));
        platform::MainLoop::main().runPending();
    }

    WrapperOnDisk wrapper;
};

TEST_F(Batch, OfTwoWindowsOneRunsTheTasksAndNoneIsStartedTwice)
{
    wrapper.tasks({"a", "b"})
        .executable("#!/bin/sh\necho x >> ../started\nwhile [ ! -e ../go ]; do sleep 0.05; done\n");
    const Opened first(wrapper.path());
    const Opened second(wrapper.path());
    EXPECT_EQ(*first.engine->startAfterChecks(), 2);
    EXPECT_THAT(
        second.engine->startAfterChecks().error().text, HasSubstr("is being run, or cleared, by another"));
    EXPECT_THAT(ClearTasks::clear(wrapper.path(), second.controller->taskInformation()).complaints,
        ElementsAre(HasSubstr("Task 1 belongs to a batch"), HasSubstr("Task 2 belongs to a batch")));
    ASSERT_TRUE(served([&] { return wrapper.read("started") == "x\nx\n"; }));
    wrapper.write("go");
    ASSERT_TRUE(served([&] { return BatchCount::of(*first.controller).isComplete(); }));
    ASSERT_TRUE(served([&] { return !first.engine->isRunning(); }));
    platform::MainLoop::main().runPending();
    EXPECT_EQ(*second.engine->startAfterChecks(), 0) << "the tasks are as the first one has left them";
    EXPECT_EQ(wrapper.read("started"), "x\nx\n");
    EXPECT_EQ(BatchCount::of(*second.controller).sentence(), "2 of 2 done");
}

TEST_F(Batch, AFolderThatCanNotBeWrittenConcernsItsOwnTask)
{
    wrapper.tasks({"a", "b"}).executable("#!/bin/sh\n");
    std::ignore = files::remove(wrapper / "0");
    wrapper.write("0", "a file in its place");
    const Opened opened(wrapper.path());
    EXPECT_EQ(*opened.engine->startAfterChecks(), 2);
    EXPECT_TRUE(served([&] { return !opened.engine->isRunning(); }));
    EXPECT_TRUE(wrapper.has("1/VTask_runCompleted"));
    EXPECT_THAT(wrapper.messages(), testing::Contains("Task 1 can not be run."));
    EXPECT_THAT(wrapper.messages(), testing::Contains("Could not run task"));

    std::ignore = files::remove(wrapper / "1");
    const Opened again(wrapper.path());
    EXPECT_THAT(again.engine->startAfterChecks().error().text, HasSubstr("0 is not a folder"));
}

TEST_F(Batch, TheStartButtonTellsWhyNothingIsStarted)
{
    wrapper.tasks({"a"});
    const Opened opened(wrapper.path());
    opened.engine->panel().startButton.press();
    EXPECT_THAT(wrapper.lastLongMessage(), HasSubstr("names no executable"));
    EXPECT_FALSE(opened.engine->panel().startButton.isHidden());
    wrapper.write("0/VTask_runStarted");
    opened.engine->panel().startButton.press();
    EXPECT_THAT(wrapper.messages(),
        ElementsAre("The tasks can not be run.", "Tasks of an earlier session are lost.",
            "No task is left to be run."));
    wrapper.tasks({"a"}).executable("#!/bin/sh\nsleep 60\n");
    const Opened other(wrapper.path());
    other.engine->panel().concurrency.commit("2");
    EXPECT_EQ(other.engine->concurrency(), 2);
    std::ignore = files::remove(wrapper / "0/VTask_runStarted");
    other.engine->panel().startButton.press();
    EXPECT_TRUE(served([&] { return wrapper.has("0/VTask_runStarted"); }));
    EXPECT_TRUE(other.engine->panel().startButton.isHidden());
    other.engine->panel().endButton.press();
    finish(other);
    EXPECT_TRUE(wrapper.has("0/VTask_aborted"));
}

} // namespace
