// The rules of a batch for every front end: what is checked before a run, what may be cleared, what is
// estimated.

#include "platform/process/Process.h"
#include "task/BatchCount.h"
#include "task/ClearTasks.h"
#include "task/ExecutableCheck.h"
#include "task/KRTrelkindController.h"
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
    EXPECT_THAT(*taskNumbers({"3", "5-7", "6"}, 7), ElementsAre(3, 5, 6, 7));
    for (const char* wrong : {"0", "7-8", "5-4", "-3", "3-", "x", ""})
        EXPECT_FALSE(taskNumbers({"1", wrong}, 7)) << wrong;
}

std::string reasonOf(const platform::Status& status)
{
    return status.ok() ? std::string() : status.error().text;
}

TEST(BatchRules, AnExecutableThatCanNotRunHereIsTold)
{
    const TemporaryFolder folder;
    std::string ours = files::readFile("/proc/self/exe").value_or("").substr(0, 64);
    std::string foreign = ours;
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
        EXPECT_TRUE(files::writeFile(folder / "p", bytes));
        EXPECT_TRUE(files::setPermissions(folder / "p", mode));
        const std::string told = reasonOf(checkExecutable(folder / "p"));
        EXPECT_TRUE(*reason ? told.find(reason) != std::string::npos : told.empty()) << bytes << ": " << told;
    }
    EXPECT_THAT(reasonOf(checkExecutable(folder / "missing")), HasSubstr("there is no file"));
    EXPECT_THAT(reasonOf(checkExecutable(folder.path())), HasSubstr("is a folder"));
}

TEST(BatchRules, AFolderThatTakesNothingIsTold)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(checkWritable(folder.path()).ok());
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

} // namespace
