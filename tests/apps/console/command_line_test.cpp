// The program as its user meets it: words, tables and exit statuses of real processes.

#include "platform/ProcessInfo.h"
#include "platform/files/FolderLock.h"
#include "task/WrapperOnDisk.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
namespace files = platform::files;

struct Result {
    int status = -1;
    std::string out;
    std::string err;
    json parsed() const { return json::parse(out, nullptr, false); }
};

class CommandLine : public testing::Test {
protected:
    // Runs a line of the shell in which T stands for the program and W for the wrapper.
    Result shell(const std::string& line)
    {
        EXPECT_TRUE(files::writeFile(wrapper.folder() / "line",
            fmt::format("export TRELKIND_PLACES='{}/places' LC_ALL=C.UTF-8\ncd '{}'\nW='{}'\nT() {{ '{}' "
                        "\"$@\"; }}\n{}\n",
                wrapper.folder().path(), wrapper.folder().path(), wrapper.path(), TRELKIND, line)));
        const std::string out = wrapper.folder() / "out";
        const std::string err = wrapper.folder() / "err";
        const int status = std::system(
            fmt::format("bash '{}' > '{}' 2> '{}' < /dev/null", wrapper.folder() / "line", out, err).c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, files::readFile(out).value_or(""),
            files::readFile(err).value_or("")};
    }

    WrapperOnDisk wrapper{"My Batch.vtask"};
};

constexpr const char* kProgram =
    "#!/bin/sh\necho \"hello $1\"\nprintf 1234567890 > SVProgress\n[ -z \"$2\" ] || sleep $2\n";

TEST_F(CommandLine, RunsABatchAndShowsWhatItLeft)
{
    wrapper.tasks({"a", "b", "c"}).executable(kProgram);
    auto result = shell("T run \"$W\" --concurrency 2");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("task 1: Done\n"));
    EXPECT_THAT(result.out, HasSubstr("3 of 3 done"));
    EXPECT_THAT(result.out, Not(HasSubstr("\033"))) << "no terminal, no colors";
    EXPECT_THAT(result.err, IsEmpty());

    result = shell("T status \"$W\"");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("     3     1  Done        100%"));
    EXPECT_TRUE(result.out.ends_with("3 of 3 done\n")) << result.out;
    const json tasks = shell("T status --json \"$W\"").parsed();
    ASSERT_EQ(tasks.size(), 3U);
    json second = tasks[1];
    const auto started = static_cast<double>(std::time(nullptr)) - second["Started"].get<double>();
    EXPECT_TRUE(started > -2 && started < 60) << started;
    EXPECT_LT(second["Seconds"].get<double>(), 60);
    second.erase("Started");
    second.erase("Seconds");
    EXPECT_EQ(second,
        (json{{"Number", "2"}, {"Time", "0.5"}, {"Description", ""}, {"Status", "Done"}, {"Progress", 100.0},
            {"Try", 0.0}, {"State", "done"}, {"Argument", "b"}, {"Exit Status", 0}, {"Signal", nullptr},
            {"Folder", wrapper / "1"}}));

    const json listed = shell("T files \"$W\" 2 --json").parsed();
    EXPECT_THAT(listed,
        testing::UnorderedElementsAre(json{{"File Name", "input"}, {"Size", "1 byte"}, {"Bytes", 1}},
            json{{"File Name", "runOutput"}, {"Size", "8B"}, {"Bytes", 8}}));
    EXPECT_EQ(shell("T output \"$W\" 3").out, "hello c\n");
    EXPECT_EQ(shell("T output --follow \"$W\" 3").out, "hello c\n");
    EXPECT_EQ(shell("T output \"$W\" 1 --json").parsed(), (json{{{"Number", "1"}, {"Line", "hello a"}}}));

    result = shell("T run \"$W\" --json");
    EXPECT_EQ(result.status, 0) << "nothing is left to do";
    EXPECT_EQ(result.parsed(), tasks);
    result = shell("T clear \"$W\" 2-3");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("clearing them removes their results: 2-3. Clear them? Use --yes"));
    EXPECT_TRUE(wrapper.has("2/runOutput")) << "nobody could be asked";
    EXPECT_EQ(shell("T clear \"$W\" 2-3 --yes").out, "Cleared 2 tasks.\n");
    EXPECT_FALSE(wrapper.has("2/runOutput"));
    EXPECT_TRUE(wrapper.has("0/runOutput"));
    EXPECT_EQ(shell("T output \"$W\" 2").status, 1);
}

// What the shell sees of a program's end, without a change to the script, and nothing of it in the program.
TEST_F(CommandLine, RecordsHowEachProgramEnded)
{
    wrapper.tasks({"exit 7", "'kill -SEGV $$'", "exit 0", "env > environment", "exit 1"})
        .executable("#!/bin/sh\necho some output\neval \"$@\"\n");
    auto result = shell("T run \"$W\" 1-4");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("task 1: Done, but failed: 7"));
    EXPECT_THAT(result.out, HasSubstr("4 of 5 done, 1 waiting, 2 failed"));
    EXPECT_THAT(result.err, HasSubstr("Failed: 1-2."));
    EXPECT_EQ(wrapper.read("0/VTask_exitStatus"), "7\n");
    EXPECT_EQ(wrapper.read("1/VTask_exitStatus"), "139\n");
    EXPECT_THAT(wrapper.read("3/environment"),
        Not(testing::AnyOf(HasSubstr("BASH_ENV"), HasSubstr("trelkind_status"))));
    EXPECT_THAT(shell("T status \"$W\" --failed").out,
        testing::AllOf(HasSubstr("SIGSEGV"), Not(HasSubstr("Waiting"))));
    const json tasks = shell("T status \"$W\" --json").parsed();
    EXPECT_EQ(tasks[1]["Signal"], "SIGSEGV");
    EXPECT_EQ(tasks[4]["Exit Status"], nullptr);
    EXPECT_EQ(tasks[4]["State"], "waiting");
    EXPECT_THAT(shell("T files \"$W\" 1").out, Not(HasSubstr("exitStatus")));

    wrapper.executable("#!/bin/sh\nexit 0\n");
    result = shell("T run \"$W\" --failed");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("4 of 5 done, 1 waiting, 0:"));
    EXPECT_EQ(wrapper.read("0/VTask_exitStatus"), "0\n");
}

TEST_F(CommandLine, MakesAWrapperAroundAProgramAndRunsIt)
{
    auto result =
        shell("printf '#!/bin/sh\\necho got $1; cat setup\\n' > tool; chmod +x tool; "
              "printf 'seed {seed}\\n' > setup; printf 'seed,Time\\n5,0.1\\n6,0.2\\n' > t.csv; "
              "T new Sweep.vtask --program tool --input setup --arguments '-s{seed}' --table t.csv");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Made Sweep.vtask with 2 tasks."));
    EXPECT_EQ(shell("T run Sweep.vtask").status, 0);
    EXPECT_EQ(shell("T output Sweep.vtask 2").out, "got -s6\nseed 6\n");
    result = shell("T new Sweep.vtask --program tool");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("exists already"));
}

TEST_F(CommandLine, HaltsAfterAFailureAndShowsWhatItWouldDo)
{
    wrapper.tasks({"1", "0", "0"}).executable("#!/bin/sh\nexit $1\n");
    EXPECT_EQ(shell("T run \"$W\" --dry-run 2-3").out,
        "task 2: program 0\ntask 3: program 0\n2 of 3 tasks would be started.\n");
    EXPECT_FALSE(wrapper.has("1/VTask_runStarted"));
    auto result = shell("T run \"$W\" --halt -j 1");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(wrapper.has("0/VTask_runCompleted"));
    EXPECT_FALSE(wrapper.has("2/VTask_runStarted"));
    result = shell("T run \"$W\" 1-3 --quiet");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.status, 1) << "task 1 still counts as failed";
    EXPECT_THAT(
        result.err, HasSubstr("Not run again until they are cleared, because they were started before: 1."));
    EXPECT_TRUE(wrapper.has("2/VTask_runCompleted"));
}

TEST_F(CommandLine, TellsOfALostTaskAndOfWhatCanNotBeWritten)
{
    wrapper.tasks({"a", "b"}).executable(kProgram);
    wrapper.write("0/VTask_runStarted");
    auto result = shell("T status \"$W\"");
    EXPECT_THAT(result.err,
        HasSubstr("Task 1 is lost: it was started, but no process runs it. \"trelkind clear '"
            + wrapper.path() + "' 1\" lets"));
    EXPECT_EQ(shell("T status --json \"$W\"").parsed()[0]["State"], "lost");
    EXPECT_EQ(shell("T status --running --json \"$W\"").parsed().size(), 1U);
    EXPECT_EQ(shell("T status --waiting --json \"$W\"").parsed()[0]["Number"], "2");
    result = shell("T status \"$W\" > /dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("trelkind: standard output can not be written: "));
    wrapper.write("Info.plist", "<plist><dict>");
    EXPECT_EQ(shell("T status \"$W\"").status, 1);
    EXPECT_THAT(shell("T --version").out, HasSubstr("trelkind 0."));
}

TEST_F(CommandLine, AnInterruptEndsTheTasksInOrderAndSaysSo)
{
    wrapper.tasks({"a 60", "b 60", "c 60"}).executable(kProgram);
    const auto result =
        shell("set -m; exec 3>&1; '" TRELKIND "' run \"$W\" --concurrency 2 >&3 & "
              "while [ ! -e \"$W/1/VTask_runStarted\" ]; do sleep 0.05; done; kill -INT $!; wait $!");
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(result.err, HasSubstr("Ending the tasks; interrupt once more to kill them."));
    EXPECT_THAT(result.err, HasSubstr("--aborted\" and then \"trelkind run"));
    EXPECT_TRUE(wrapper.has("0/VTask_aborted"));
    EXPECT_TRUE(wrapper.has("1/VTask_aborted"));
    EXPECT_FALSE(wrapper.has("2/VTask_runStarted"));
    EXPECT_EQ(shell("T clear --aborted \"$W\"").out, "Cleared 2 tasks.\n");
    EXPECT_EQ(shell("T clear --aborted \"$W\"").out, "There are no aborted tasks to clear.\n");
}

// In the background of a script an interrupt is meant for others; a closed terminal keeps no file from its
// words.
TEST_F(CommandLine, WhatIsMeantForOthersEndsNothing)
{
    wrapper.tasks({"a 1"}).executable(kProgram);
    const auto result = shell("'" TRELKIND "' run \"$W\" & "
                              "while [ ! -e \"$W/0/VTask_runStarted\" ]; do sleep 0.05; done; "
                              "kill -INT $!; kill -HUP $!; wait $!");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("1 of 1 done"));
}

TEST_F(CommandLine, ASecondInterruptKillsWhatIgnoresTheFirst)
{
    wrapper.tasks({"a"}).executable(
        "#!/bin/bash\ntrap '' TERM INT\necho $$ > pid\nwhile :; do sleep 0.1; done\n");
    const auto result =
        shell("set -m; exec 3>&1; '" TRELKIND "' run \"$W\" >&3 & "
              "while [ ! -s \"$W/0/pid\" ]; do sleep 0.05; done; kill -INT $!; kill -0 $!; "
              "while [ ! -e \"$W/0/VTask_aborted\" ]; do kill -INT $! || break; sleep 0.1; done; wait $!");
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(result.err, HasSubstr("Killing the tasks."));
    EXPECT_FALSE(isAlive(std::atoi(wrapper.read("0/pid").c_str())));
}

TEST_F(CommandLine, TellsWhatKeepsItFromRunning)
{
    wrapper.tasks({"a"});
    auto result = shell("T run \"$W\"");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("names no executable in its Executable.plist"));

    wrapper.executable(kProgram);
    EXPECT_TRUE(files::setPermissions(wrapper / "MacOSX/program", 0644));
    result = shell("T run \"$W\"");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("is not marked as executable"));
    EXPECT_FALSE(wrapper.has("0/VTask_runStarted"));

    wrapper.write("0/VTask_runStarted");
    wrapper.write("0/VTask_runCompleted");
    result = shell("T run \"$W\"");
    EXPECT_EQ(result.status, 0) << "nothing is left for which the program is needed: " << result.err;

    wrapper.executable(kProgram).tasks({"a", "b"});
    std::ignore = files::remove(wrapper / "0");
    result = shell("T run \"$W\"");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("Could not run task"));
    EXPECT_THAT(result.err, HasSubstr(wrapper / "0"));
    EXPECT_THAT(result.out, HasSubstr("1 of 2 done, 1 waiting"));

    wrapper.tasks({});
    EXPECT_THAT(shell("T run \"$W\"").err, HasSubstr("has no tasks"));
}

TEST_F(CommandLine, WrongUseIsToldInASentenceWithStatusTwo)
{
    wrapper.tasks({"a"}).executable(kProgram);
    EXPECT_TRUE(files::writeFile(wrapper.folder() / "file.vtask", ""));
    EXPECT_TRUE(files::createDirectory(wrapper.folder() / "folder"));
    const struct {
        const char* line;
        const char* sentence;
    } cases[] = {
        {"T status \"$W/../none.vtask\"", "none.vtask does not exist."},
        {"T status \"$W/../file.vtask\"", "file.vtask is not a folder"},
        {"T status \"$W/../folder\"", "its name does not end in .vtask"},
        {"T files \"$W\" 7", "There is no task 7: the tasks of this wrapper are 1 to 1."},
        {"T files \"$W\" 0", "There is no task 0"},
        {"T output \"$W\" x", "NUMBER"},
        {"T variables \"$W\" 1 nothing.svbin", "Task 1 has no file nothing.svbin."},
        {"T variables \"$W\" 1", "FILE"},
        {"T variables /nonexistent", "trelkind: /nonexistent does not exist."},
        {"T variables /", "is a folder, not a data file"},
        {"T clear \"$W\" 1-x", "neither the number of a task nor a range"},
        {"T run \"$W\" 1-4", "There is no task 4"},
        {"T clear \"$W\"", "--aborted"},
        {"T clear \"$W\" 1 5", "There is no task 5"},
        {"T run \"$W\" --concurrency 0", "--concurrency"},
        {"T run \"$W\" --concurrency 33", "--concurrency"},
        {"T run", "WRAPPER"},
        {"T dance", "trelkind: there is no verb \"dance\""},
        {"T", "a verb is missing"},
    };
    for (const auto& [line, sentence] : cases) {
        const auto result = shell(line);
        EXPECT_EQ(result.status, 2) << line << "\n" << result.err;
        EXPECT_THAT(result.err, HasSubstr(sentence)) << line;
    }
    EXPECT_TRUE(wrapper.has("0/input"));
    for (const char* line : {"T --help", "T run --help", "T clear --help"}) {
        const auto result = shell(line);
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.out, HasSubstr("Exit status: 0 done"));
    }
}

TEST_F(CommandLine, AsksNothingOfAPlainMachine)
{
    wrapper.tasks({"a"}).executable(kProgram);
    wrapper.write("0/x\ty");
    EXPECT_THAT(shell("T files \"$W\" 1").out, HasSubstr("x\uFFFDy"));
    EXPECT_THAT(shell("LC_ALL=C T files \"$W\" 1").out, HasSubstr("x?y")) << "no UTF-8";
    EXPECT_TRUE(wrapper.has("MacOSX/program.md5"));
    std::ignore = files::remove(wrapper / "MacOSX/program.md5");
    EXPECT_EQ(shell("LIBGCRYPT_FORCE_FIPS_MODE=1 T status \"$W\"").status, 0);
    EXPECT_FALSE(wrapper.has("MacOSX/program.md5")) << "where MD5 is forbidden";
}

TEST_F(CommandLine, SaysThatVariablesCanNotBeShownYet)
{
    wrapper.tasks({"a"});
    wrapper.write("0/r.svbin");
    for (const char* line : {"T variables \"$W\" 1 r.svbin --json", "T variables \"$W/0/r.svbin\" --json"}) {
        const auto result = shell(line);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "[]\n");
        EXPECT_THAT(result.err, HasSubstr("svdata list"));
    }
}

TEST_F(CommandLine, ATaskAtWorkIsNotCleared)
{
    wrapper.tasks({"a"}).executable(kProgram);
    wrapper.write("0/VTask_runStarted");
    const auto busy =
        shell("(cd \"$W/0\" && exec sleep 60) & sleep 0.3; T clear \"$W\" 1; s=$?; kill $!; exit $s");
    EXPECT_EQ(busy.status, 1);
    EXPECT_THAT(busy.err, HasSubstr("Task 1 is running in process "));
    EXPECT_TRUE(wrapper.has("0/VTask_runStarted"));
    EXPECT_THAT(shell("T run \"$W\"").err, HasSubstr("in their folders: 1."));
    {
        const platform::FolderLock runs(wrapper.path(), platform::FolderLock::Kind::Exclusive);
        EXPECT_THAT(shell("T run \"$W\"").err, HasSubstr("by another trelkind"));
        EXPECT_THAT(shell("T clear \"$W\" 1").err, HasSubstr("that another trelkind is running"));
        EXPECT_TRUE(wrapper.has("0/VTask_runStarted"));
    }
    EXPECT_EQ(shell("T clear \"$W\" 1").status, 0);
    EXPECT_FALSE(wrapper.has("0/VTask_runStarted"));
}

TEST_F(CommandLine, FollowsTheOutputOfARunUntilItEnds)
{
    wrapper.tasks({"a"}).executable("#!/bin/sh\nfor i in 1 2 3; do echo line $i; sleep 0.4; done\n");
    const auto result = shell("(sleep 0.3; T run \"$W\") > /dev/null & T output --follow \"$W\" 1; wait");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("Task 1 waits to be run"));
    EXPECT_EQ(result.out, "line 1\nline 2\nline 3\n");

    // Cut and, until the next look, grown beyond what was read.
    wrapper.write("0/runOutput", "old\n");
    std::ignore = files::remove(wrapper / "0/VTask_runCompleted");
    EXPECT_EQ(shell("T output --follow \"$W\" 1 > shown & while ! grep -q old shown; do sleep 0.05; done; "
                    "echo new and longer > \"$W/0/runOutput\"; touch \"$W/0/VTask_runCompleted\"; "
                    "wait; cat shown")
                  .out,
        "old\nnew and longer\n");
    wrapper.write("0/runOutput", "a\r\n\r\xff\n" + std::string(70000, 'x') + "\r\nlast");
    const json rows = shell("T output --json \"$W\" 1").parsed();
    ASSERT_EQ(rows.size(), 5U);
    EXPECT_EQ(rows[2], (json{{"Number", "3"}, {"Line", "\uFFFD"}}));
    EXPECT_EQ(rows[3].at("Line").get<std::string>().size(), 70000U);
    EXPECT_EQ(rows[4].at("Line"), "last");
}

TEST_F(CommandLine, PreparesTheProjectThatTheWrapperNames)
{
    wrapper.tasks({"a", "b"}).executable(kProgram, "my program");
    auto result = shell("T prepare \"$W\"");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("has no project"));

    EXPECT_TRUE(files::createDirectories(wrapper.folder() / "p.xcodeproj"));
    EXPECT_TRUE(files::writeFile(wrapper.folder() / "p.xcodeproj/project.pbxproj",
        "// !$*UTF8*$!\n{ objects = { P = { mainGroup = G; targets = (T); };\n"
        "G = { isa = PBXGroup; sourceTree = \"<group>\"; children = (F); };\n"
        "F /* a.cpp */ = { isa = PBXFileReference; path = \"a file.cpp\"; sourceTree = \"<group>\"; };\n"
        "T = { productName = \"my program\"; buildPhases = (B); };\n"
        "B = { files = (BF); }; BF = { fileRef = F; }; }; rootObject = P; }\n"));
    EXPECT_TRUE(files::writeFile(wrapper.folder() / "a file.cpp", "int main() {}\n"));
    wrapper.information("Project Name", wrapper.folder() / "p.xcodeproj");
    result = shell("T prepare \"$W\"");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(wrapper.read("Project/Sources/a file.cpp"), "int main() {}\n");
    EXPECT_EQ(wrapper.read("Project/Sources/Makefile.sources"), "CXX_SRCS = \\\na file.cpp\n\nC_SRCS = \n\n");
    EXPECT_THAT(wrapper.read("Project/Sources/Makefile"), HasSubstr("PROGRAM = my_program\n"));
    std::ignore = files::remove(wrapper / "Project/compile");
    EXPECT_TRUE(files::createDirectory(wrapper / "Project/compile"));
    result = shell("T prepare \"$W\"");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("compile could not be written: a folder has its name."));
}

TEST_F(CommandLine, AWrapperThatCanOnlyBeReadIsShownAndNotRun)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "nothing is read-only for this user";
    wrapper.tasks({"a"}).executable(kProgram);
    EXPECT_TRUE(files::setPermissions(wrapper / "0", 0555));
    EXPECT_TRUE(files::setPermissions(wrapper / "MacOSX", 0555));
    EXPECT_EQ(shell("T status \"$W\"").status, 0);
    const auto result = shell("T run \"$W\"");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("can not be written"));
    EXPECT_TRUE(files::setPermissions(wrapper / "0", 0755));
    EXPECT_TRUE(files::setPermissions(wrapper / "MacOSX", 0755));
}

} // namespace
