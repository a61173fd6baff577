#include "platform/process/Process.h"

#include "OnThreads.h"
#include "platform/AnotherProcess.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/Descriptor.h"
#include "platform/loop/Pace.h"
#include "platform/process/Spawn.h"
#include "platform/process/SystemShell.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <gmock/gmock.h>
#include <pty.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>

namespace {

using platform::Pace;
using platform::Process;
using testing::HasSubstr;
using testing::MatchesRegex;
namespace files = platform::files;
namespace systemshell = platform::systemshell;

bool waitFor(const std::function<bool()>& condition, double limitInSeconds = 20)
{
    const double end = platform::monotonicSeconds() + limitInSeconds;
    while (!condition()) {
        if (platform::monotonicSeconds() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

struct ProcessTest : testing::Test {
    void TearDown() override
    {
        Pace::setFactor(1);
        systemshell::setPath("");
    }
    std::string script(const std::string& text, const std::string& name = "script")
    {
        const std::string path = folder / name;
        EXPECT_TRUE(files::writeFileAtomically(path, text, 0700));
        return path;
    }
    std::shared_ptr<Process> launch(const std::string& path, std::vector<std::string> arguments = {})
    {
        const auto process = Process::launch({path, std::move(arguments), folder.path()});
        EXPECT_TRUE(process) << process.error().name << ": " << process.error().reason;
        return process.value_or(nullptr);
    }
    std::string output(const std::string& name) { return files::readFile(folder / name).value_or("<none>"); }
    bool anyIsAlive(const std::string& listedIn) { return std::ranges::any_of(numbersIn(listedIn), isAlive); }
    // The process numbers that programs of the test have written down, one a line.
    std::vector<pid_t> numbersIn(const std::string& name)
    {
        std::istringstream text(files::readFile(folder / name).value_or(""));
        std::vector<pid_t> numbers;
        for (pid_t number = 0; text >> number;)
            numbers.push_back(number);
        return numbers;
    }

    TemporaryFolder folder;
};

TEST_F(ProcessTest, RunsInItsFolderWithNullStreamsAnOwnGroupAndNothingElse)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0); // Not marked to be closed, as some library might open it.
    signal(SIGUSR2, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    const auto process = launch(script("#!/bin/sh\npwd > folder\nls -l /proc/$$/fd > streams\n"
                                       "echo \"$1|$2\" > arguments\nps -o pgid= -p $$ > group 2>/dev/null || "
                                       "cut -d' ' -f5 /proc/$$/stat > group\n"
                                       "grep -E 'Sig(Blk|Ign)' /proc/self/status > signals\nexit 7\n"),
        {"a b", "$HOME"});
    ASSERT_TRUE(process->waitUntilExit(20));
    signal(SIGUSR2, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    EXPECT_FALSE(process->isRunning());
    EXPECT_EQ(process->terminationStatus(), 7);
    EXPECT_EQ(output("folder") + output("arguments"), folder.path() + "\na b|$HOME\n");
    EXPECT_EQ(numbersIn("group"), std::vector<pid_t>{process->processIdentifier()});
    // Two signals above the thirtieth are the C library's own and nobody's to set.
    EXPECT_THAT(output("signals"), MatchesRegex("SigBlk:\t0+\nSigIgn:\t0000000[01][08]0000000\n"));
    EXPECT_EQ(output("streams").find("pipe:"), std::string::npos) << output("streams");
    EXPECT_NE(output("streams").find("0 -> /dev/null"), std::string::npos) << output("streams");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ProcessTest, ALaunchThatCannotSucceedSaysWhyAtOnce)
{
    EXPECT_TRUE(files::writeFile(folder / "plain", "#!/bin/sh\n") && files::createDirectory(folder / "sub"));
    script("no first line\n", "nonsense");
    script("", "empty");
    script("#!/no/such/interpreter -x\n", "orphan");
    script("#!/bin/sh\r\necho\r\n", "foreign");
    script("#!/bin/sh\n", "good");
    const struct {
        std::string path, folder;
        std::string name, inReason;
    } cases[] = {
        {folder / "absent", folder.path(), "NoSuchFile", folder / "absent"},
        {folder / "plain/below", folder.path(), "NoSuchFile", folder / "plain/below"},
        {folder / "plain", folder.path(), "NotExecutable", folder / "plain"},
        {folder / "sub", folder.path(), "NotAProgram", "is a folder"},
        {folder / "nonsense", folder.path(), "NotAProgram", "no program for this machine"},
        {folder / "empty", folder.path(), "NotAProgram", folder / "empty"},
        {folder / "orphan", folder.path(), "NoInterpreter", "\"/no/such/interpreter\""},
        {folder / "foreign", folder.path(), "NoInterpreter", "carriage return"},
        {folder / "good", folder / "absent", "NoWorkFolder", folder / "absent"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.path);
        const auto process = Process::launch({one.path, {}, one.folder});
        ASSERT_FALSE(process);
        EXPECT_EQ(process.error().name, one.name);
        EXPECT_THAT(process.error().reason, HasSubstr(one.inReason));
    }
}

TEST_F(ProcessTest, AScriptUsesTheRedirectionWhateverStandsForTheShell)
{
    const std::string text = "#!/bin/sh\n\ntouch started\nnice \"/bin/echo\" a b >& runOutput\necho "
                             "\"$SHELLOPTS\" > options\nexit 7\n";
    // A path that nobody has tried yet, for a process whose parent has left the signal ignored.
    ASSERT_EQ(symlink("/bin/dash", (folder / "sh").c_str()), 0);
    const std::tuple<std::string, bool, bool> cases[] = {
        {"/bin/dash", true, false}, {"/bin/bash", false, false}, {folder / "sh", true, true}};
    for (const auto& [shell, isReplaced, ignoresChildren] : cases) {
        SCOPED_TRACE(shell);
        ASSERT_TRUE(files::exists(shell));
        systemshell::setPath(shell);
        signal(SIGCHLD, ignoresChildren ? SIG_IGN : SIG_DFL);
        const auto process = launch(script(text));
        ASSERT_TRUE(process->waitUntilExit(20));
        EXPECT_EQ(process->terminationStatus(), 7);
        EXPECT_EQ(output("runOutput"), "a b\n");
        EXPECT_EQ(output("options").find("posix") != std::string::npos, isReplaced) << output("options");
        EXPECT_EQ(systemshell::command().size(), isReplaced ? 2U : 1U);
        EXPECT_EQ(output("script"), text);
        std::ignore = files::remove(folder / "runOutput");
    }
}

TEST_F(ProcessTest, OtherScriptsGoThroughTheirOwnFirstLine)
{
    systemshell::setPath("/bin/dash");
    ASSERT_TRUE(launch(script("#! /bin/bash -e\n[[ x == x ]] && echo \"$-\" > flags\n"))->waitUntilExit(20));
    EXPECT_NE(output("flags").find('e'), std::string::npos);
    ASSERT_TRUE(launch(script("#!/bin/sh -e\nfalse\ntouch reached\n"))->waitUntilExit(20));
    EXPECT_FALSE(files::exists(folder / "reached")) << "the first line's argument was lost";
    ASSERT_TRUE(launch(script("#!/bin/dash\necho hello >& refused\ntouch after\n"))->waitUntilExit(20));
    EXPECT_FALSE(files::exists(folder / "refused"));
}

// Those who have left the group and the environment are found through their parents.
TEST_F(ProcessTest, TerminatingEndsThePoliteAtOnceWhereverTheyAre)
{
    for (const char* text : {"#!/bin/sh\nsleep 100 &\necho $! > children\necho $$ >> children\nwait\n",
             "#!/bin/sh\nenv -i setsid sh -c 'sleep 300 & echo $! >> children; "
             "echo $$ >> children; wait' &\nwait\n"}) {
        const auto process = launch(script(text));
        ASSERT_TRUE(waitFor([&] { return numbersIn("children").size() == 2; }));
        process->terminate();
        EXPECT_TRUE(process->waitUntilExit(2));
        EXPECT_EQ(process->terminationStatus(), 128 + SIGTERM);
        EXPECT_TRUE(Process::finishTerminations(2));
        EXPECT_FALSE(anyIsAlive("children"));
        std::ignore = files::remove(folder / "children");
    }
}

// What ignores the polite signal, what was stopped, what left the group: nothing stays, not even a zombie.
TEST_F(ProcessTest, TerminatingLeavesNothingThoughTheProgramForksAndIgnoresTheSignal)
{
    Pace::setFactor(0.1);
    script("#!/bin/bash\ntrap '' TERM HUP\necho $$ >> children\nsleep 300 &\necho $! >> children\n"
           "while :; do sleep 1; done\n",
        "stubborn");
    const auto process =
        launch(script("#!/bin/sh\ntrap '' TERM\n./stubborn &\nsetsid ./stubborn &\n(setsid ./stubborn &)\n"
                      "./stubborn &\nkill -STOP $!\necho $$ >> children\nwait\n"));
    // Three of the four wrote two numbers each; the stopped one perhaps one or none.
    ASSERT_TRUE(waitFor([&] { return numbersIn("children").size() >= 7; }));
    const pid_t leader = process->processIdentifier();
    process->terminate();
    EXPECT_TRUE(process->isRunning());
    EXPECT_FALSE(process->waitUntilExit(0.1)) << "killed before its time";
    EXPECT_TRUE(Process::finishTerminations(20));
    EXPECT_FALSE(process->isRunning());
    EXPECT_EQ(process->terminationStatus(), 128 + SIGKILL);
    EXPECT_FALSE(anyIsAlive("children"));
    EXPECT_TRUE(waitFor([&] { return kill(-leader, 0) != 0 && errno == ESRCH; }));
    EXPECT_NE(kill(leader, 0), 0) << "a zombie stays";
}

TEST_F(ProcessTest, AMemberThatIgnoresTheSignalDoesNotOutliveItsLeader)
{
    Pace::setFactor(0.1);
    const auto process =
        launch(script("#!/bin/sh\n(trap '' TERM; exec sleep 300) &\necho $! > children\nwait\n"));
    ASSERT_TRUE(waitFor([&] {
        const auto numbers = numbersIn("children");
        return numbers.size() == 1
            && files::readFile("/proc/" + std::to_string(numbers[0]) + "/comm") == "sleep\n";
    }));
    process->terminate();
    EXPECT_TRUE(process->waitUntilExit(20));
    EXPECT_TRUE(anyIsAlive("children")) << "it had no time to end by itself";
    EXPECT_TRUE(Process::finishTerminations(20));
    EXPECT_FALSE(anyIsAlive("children"));
}

TEST_F(ProcessTest, TheFollowUpComesThoughNobodyHoldsTheProcessOrAtOnceWhenAsked)
{
    for (const bool isPatient : {true, false}) {
        Pace::setFactor(isPatient ? 0.05 : 1);
        auto process =
            launch(script("#!/bin/bash\ntrap '' TERM\necho $$ > ready\nwhile :; do sleep 0.05; done\n"));
        ASSERT_TRUE(waitFor([&] { return numbersIn("ready").size() == 1; }));
        process->terminate();
        if (isPatient)
            process.reset();
        EXPECT_EQ(Process::finishTerminations(isPatient ? 20 : 0.2), isPatient);
        Process::killTerminating();
        EXPECT_TRUE(Process::finishTerminations(2));
        EXPECT_FALSE(anyIsAlive("ready") || (process && process->isRunning()));
        std::ignore = files::remove(folder / "ready");
    }
}

TEST_F(ProcessTest, WhatAnEndedProgramLeftBehindCanStillBeTerminated)
{
    for (const char* inGroup : {"yes", ""}) {
        const auto process =
            launch(script("#!/bin/sh\n[ -z \"$1\" ] || { sleep 300 & echo $! >> children; }\n"
                          "(setsid sh -c 'echo $$ >> children; exec sleep 300' &)\n"),
                {inGroup});
        ASSERT_TRUE(process->waitUntilExit(20));
        const std::size_t count = *inGroup ? 2 : 1;
        ASSERT_TRUE(waitFor([&] { return numbersIn("children").size() == count; }));
        EXPECT_TRUE(std::ranges::all_of(numbersIn("children"), isAlive));
        process->terminate();
        EXPECT_TRUE(Process::finishTerminations(20));
        EXPECT_FALSE(anyIsAlive("children"));
        std::ignore = files::remove(folder / "children");
    }
}

TEST_F(ProcessTest, ManyLaunchesOfFreshScriptsFromManyThreadsAllRun)
{
    std::atomic<int> good = 0;
    onThreads(6, [&](int thread) {
        for (int number = 0; number < 10; ++number) {
            const std::string path = folder / std::to_string(thread * 100 + number);
            EXPECT_TRUE(files::writeFileAtomically(path, "#!/bin/bash\nexit 3\n", 0700, files::Flush::No));
            const auto process = Process::launch({path, {}, folder.path()});
            EXPECT_TRUE(process) << process.error().reason;
            good += process && (*process)->waitUntilExit(30) && (*process)->terminationStatus() == 3;
        }
    });
    EXPECT_EQ(good, 60);
}

// A program that asks the terminal for a password sets its modes first. In a background job of this program's
// terminal it would be stopped for that, and wait for ever.
TEST(Spawn, GivesNoTerminal)
{
    int terminal = -1;
    const pid_t user = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (user == 0) {
        const auto asking = platform::spawn({"/bin/sh", "-c", "stty -echo < /dev/tty"}, "", "mark");
        int status = 0;
        const bool hasEnded =
            asking && ::waitpid(*asking, &status, WUNTRACED) == *asking && WIFEXITED(status);
        ::_exit(hasEnded ? 0 : 1);
    }
    const platform::Descriptor closing(terminal);
    int status = -1;
    ASSERT_EQ(::waitpid(user, &status, 0), user);
    EXPECT_EQ(status, 0);
}

} // namespace
