// The program as its user meets it: texts, tables and exit statuses of real processes.

#include "arrays/sv/SVCharArray.h"
#include "arrays/sv/SVDoubleArray.h"
#include "arrays/sv/SVIntArray.h"
#include "datafile/SVDataFile.h"
#include "platform/ProcessInfo.h"
#include "task/WrapperOnDisk.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <sys/wait.h>
#include <tuple>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

struct Result {
    int status = -1;
    std::string out, err;
    json parsed() const { return json::parse(out, nullptr, false); }
};

// A line of the shell, its exit status, and what it prints: parts in their order, with "..." between them. An
// empty text means that nothing is printed.
struct Step {
    std::string line;
    int status;
    std::string out = {}, err = {};
};

bool holds(const std::string& text, const std::string& parts)
{
    std::size_t place = 0;
    for (std::size_t first = 0; first < parts.size() && place != std::string::npos; first += 3) {
        const std::size_t last = std::min(parts.find("...", first), parts.size());
        place = text.find(parts.substr(first, last - first), place);
        first = last;
    }
    return parts.empty() ? text.empty() : place != std::string::npos;
}

struct CommandLine : testing::Test {
    // Runs a line of bash. In it T is the program (P its path), L the listener of the examples, V a writer of
    // variables and W the wrapper; "upto" waits until a command succeeds.
    Result shell(const std::string& line)
    {
        const std::string folder = wrapper.folder().path();
        const std::string begin =
            fmt::format("cd '{}'; W='{}' P='{}' L='{}' V='{}'\nexport TRELKIND_PLACES=$PWD/places\n", folder,
                wrapper.path(), TRELKIND, LISTENER, VARIABLE_WRITER);
        EXPECT_TRUE(files::writeFile(folder + "/line",
            begin + "export LC_ALL=C.UTF-8\nT() { \"$P\" \"$@\"; }\n"
                + "upto() { while ! \"$@\"; do sleep 0.05; done; }\n" + line));
        const int status = std::system(("cd " + folder + " && bash line > out 2> err < /dev/null").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, files::readFile(folder + "/out").value_or(""),
            files::readFile(folder + "/err").value_or("")};
    }
    void expect(const std::vector<Step>& steps)
    {
        for (const Step& step : steps) {
            const Result result = shell(step.line);
            SCOPED_TRACE(step.line + "\n" + result.out + result.err);
            EXPECT_EQ(result.status, step.status);
            EXPECT_TRUE(holds(result.out, step.out)) << "standard output lacks: " << step.out;
            EXPECT_TRUE(holds(result.err, step.err)) << "standard error lacks: " << step.err;
        }
    }

    WrapperOnDisk wrapper{"My Batch.vtask"};
};

constexpr const char* kProgram =
    "#!/bin/sh\necho \"hello $1\"\nprintf 1234567890 > SVProgress\n[ -z \"$2\" ] || sleep $2\n";
constexpr const char* kRun = R"(T run "$W")";

TEST_F(CommandLine, RunsABatchAndShowsWhatItLeft)
{
    wrapper.tasks({"a", "b", "c"}).executable(kProgram);
    expect({{R"(T run "$W" --concurrency 2)", 0, "task 1: Done\n...3 of 3 done, 0:"},
        {R"(T status "$W")", 0, "     3     1  Done        100%...\n3 of 3 done\n"},
        {R"(T output "$W" 3)", 0, "hello c\n"}, {R"(T output --follow "$W" 3)", 0, "hello c\n"}});
    const json tasks = shell(R"(T status --json "$W")").parsed();
    json second = tasks.at(1);
    EXPECT_NEAR(second["Started"].get<double>(), static_cast<double>(std::time(nullptr)), 60);
    EXPECT_LT(second["Seconds"].get<double>(), 60);
    second.erase("Started");
    second.erase("Seconds");
    EXPECT_EQ(second,
        (json{{"Number", "2"}, {"Time", "0.5"}, {"Description", ""}, {"Status", "Done"}, {"Progress", 100.0},
            {"Try", 0.0}, {"State", "done"}, {"Argument", "b"}, {"Exit Status", 0}, {"Signal", nullptr},
            {"Folder", wrapper / "1"}}));

    wrapper.write("1/out10");
    wrapper.write("1/out2");
    EXPECT_EQ(shell(R"(T files "$W" 2)").out,
        "File Name    Size\ninput      1 byte\nout2        Empty\nout10       Empty\nrunOutput      8B\n");
    EXPECT_EQ(shell(R"(T files "$W" 2 --json)").parsed().at(3),
        (json{{"File Name", "runOutput"}, {"Size", "8B"}, {"Bytes", 8}}));
    EXPECT_EQ(shell(R"(T output "$W" 1 --json)").parsed(), (json{{{"Number", "1"}, {"Line", "hello a"}}}));
    EXPECT_EQ(shell(R"(T run "$W" --json)").parsed(), tasks) << "nothing is left to do";

    const std::string clear = "T clear \"$W\" ";
    expect({{clear + "2-3", 1, "",
                "2 tasks of ...My Batch.vtask are done, and clearing them removes their results: 2-3. Clear "
                "them? Use"},
        {clear + "2", 1, "",
            "Task 2 of ... is done, and clearing it removes its results. Clear it? Use --yes"}});
    EXPECT_TRUE(wrapper.has("2/runOutput")) << "nobody could be asked";
    expect({{clear + "2-3 --yes", 0, "Cleared 2 tasks.\n"}, {R"(T output "$W" 2)", 1, "", "no output yet."}});
    EXPECT_FALSE(wrapper.has("2/runOutput"));
    EXPECT_TRUE(wrapper.has("0/runOutput"));
}

// The shell records the exit status without a change to the script, and hides this from the program.
TEST_F(CommandLine, RecordsHowEachProgramEnded)
{
    wrapper.tasks({"exit 7", "'kill -SEGV $$'", "exit 0", "env > environment", "exit 1"})
        .executable("#!/bin/sh\necho some output\neval \"$@\"\n");
    expect({{R"(T run "$W" 1-4)", 1, "task 1: Done, but failed: 7...4 of 5 done, 1 waiting, 2 failed",
                "Failed: 1-2."},
        {R"(T status "$W" --failed)", 0, "7  exit 7...SIGSEGV  'kill"}});
    EXPECT_EQ(wrapper.read("0/VTask_exitStatus") + wrapper.read("1/VTask_exitStatus"), "7\n139\n");
    EXPECT_THAT(wrapper.read("3/environment"),
        Not(testing::AnyOf(HasSubstr("BASH_ENV"), HasSubstr("trelkind_status"))));
    const json tasks = shell(R"(T status "$W" --json)").parsed();
    EXPECT_EQ(tasks[1]["Signal"], "SIGSEGV");
    EXPECT_EQ(tasks[4]["Exit Status"], nullptr);
    EXPECT_THAT(shell(R"(T files "$W" 1)").out, Not(HasSubstr("exitStatus")));

    wrapper.executable("#!/bin/sh\nexit 0\n");
    expect({{R"(T clear "$W" 1)", 0, "Cleared 1 task.\n"}, // Asks nothing about a failed task.
        {R"(T run "$W" --failed)", 0, "3 of 5 done, 2 waiting, 0:", "Ended without any output: 2."}});
    EXPECT_EQ(wrapper.read("1/VTask_exitStatus"), "0\n");
}

TEST_F(CommandLine, MakesAWrapperAroundAProgramAndRunsIt)
{
    expect({
        {R"(printf '#!/bin/sh\necho got $1; cat setup\n' > tool; chmod +x tool
            printf 'seed {seed}\n' > setup; printf 'seed,Time\n5,0.1\n6,0.2\n' > t.csv
            T new Sweep.vtask --program tool --input setup --input line --arguments '-s{seed}' --table t.csv)",
            0, "Made Sweep.vtask with 2 tasks. \"trelkind run Sweep.vtask\" runs them.\n"},
        {"T run Sweep.vtask --quiet", 0},
        {"T output Sweep.vtask 2", 0, "got -s6\nseed 6\n"},
        {"T new Sweep.vtask --program tool", 1, "", "exists already"},
        {"chmod -x tool; T new 'One more.vtask' --program tool", 0,
            "with 1 task. \"trelkind run 'One more.vtask'\" runs it.\n", "is not marked as executable"},
    });
}

TEST_F(CommandLine, HaltsAfterAFailureAndShowsWhatItWouldStart)
{
    wrapper.tasks({"1", "0", "0"}).executable("#!/bin/sh\necho x\nexit $1\n");
    EXPECT_EQ(shell(R"(T run "$W" --dry-run 2-3)").out,
        "task 2: program 0\ntask 3: program 0\n2 of 3 tasks would be started.\n");
    expect({{R"(T run "$W" --halt -j 1)", 1, "1 of 3 done, 2 waiting, 1 failed", "Failed: 1."},
        {R"(T run "$W" --dry-run)", 0, "task 2: program 0\ntask 3: program 0\n2 of 3 tasks"},
        {R"(T run "$W" 1-3 --quiet)", 1, "",
            "Not run again until they are cleared, because they were started before: 1."}});
    EXPECT_TRUE(wrapper.has("2/VTask_runCompleted"));
}

TEST_F(CommandLine, ReportsLostTasksAndUnwritableOutput)
{
    wrapper.tasks({"a", "b", "c", "d"}).executable(kProgram);
    for (const char* name : {"0/VTask_runStarted", "2/VTask_runStarted", "2/VTask_aborted",
             "3/VTask_runStarted", "3/VTask_runCompleted"})
        wrapper.write(name);
    wrapper.write("3/VTask_exitStatus", "7\n");
    const std::string lost = "Task 1 is lost: it was started, but no process runs it. \"trelkind clear '"
        + wrapper.path() + "' 1\" lets it be run again.";
    expect({{R"(T status "$W")", 0, "1 of 4 done, 1 running, 1 waiting, 1 aborted, 1 failed\n", lost},
        {R"(T run "$W" 4)", 1, "1 of 4 done", lost}});
    const std::pair<const char*, const char*> cases[] = {{"", "1 lost, 2 waiting, 3 aborted, 4 done, "},
        {"--running", "1 lost, "}, {"--waiting", "2 waiting, "}, {"--failed", "3 aborted, 4 done, "},
        {"--failed --waiting", "2 waiting, 3 aborted, 4 done, "}};
    for (const auto& [filter, states] : cases) {
        std::string found;
        for (const json& row : shell(fmt::format(R"(T status "$W" --json {})", filter)).parsed())
            found += row["Number"].get<std::string>() + " " + row["State"].get<std::string>() + ", ";
        EXPECT_EQ(found, states) << filter;
    }
    const std::string unwritable = "trelkind: standard output can not be written: ";
    expect({{R"(T status "$W" > /dev/full)", 1, "", unwritable},
        {R"(T status --json "$W" > /dev/full)", 1, "", unwritable},
        {R"(T run --dry-run "$W" > /dev/full)", 1, "", unwritable},
        {R"(T clear --aborted "$W" > /dev/full)", 1, "", unwritable}, {"T --version", 0, "trelkind 0."}});
    wrapper.write("Info.plist", "<plist><dict>");
    expect({{R"(T status "$W")", 1, "0 of 0 done\n", "Could not read Info.plist."},
        {R"(T status --json "$W")", 1, "[]\n", "Could not read Info.plist."}});
}

TEST_F(CommandLine, AnInterruptEndsTheTasksAndASecondOneKillsThem)
{
    for (const std::string signal : {"INT", "TERM"}) {
        wrapper.tasks({"a", "b", "c"})
            .executable("#!/bin/sh\ntrap 'sleep 0.3; echo cleaned up; exit' TERM\necho x\nsleep 60 & wait\n");
        expect({{R"(set -m; exec 3>&1; "$P" run "$W" --concurrency 2 >&3 &
                upto test -s "$W/0/runOutput"; upto test -s "$W/1/runOutput"; kill -)"
                + signal + " $!; wait $!",
            130, "0 of 3 done, 1 waiting, 2 aborted",
            "Ending the tasks; interrupt once more to kill them.\n...clear '" + wrapper.path()
                + "' --aborted\" and then \"trelkind run '" + wrapper.path() + "'\" continue"}});
        EXPECT_EQ(wrapper.read("1/runOutput"), "x\ncleaned up\n");
        expect({{R"(T clear --aborted "$W")", 0, "Cleared 2 tasks.\n"},
            {R"(T clear --aborted "$W")", 0, "There are no aborted tasks to clear.\n"}});
    }
    wrapper.executable("#!/bin/bash\ntrap '' TERM INT\necho $$ > pid\nwhile :; do sleep 0.1; done\n");
    expect({{R"(set -m; exec 3>&1; "$P" run "$W" 1 >&3 & upto test -s "$W/0/pid"; kill -INT $!; kill -0 $!
                while [ ! -e "$W/0/VTask_aborted" ]; do kill -INT $! || break; sleep 0.1; done; wait $!)",
        130, "1 aborted", "Killing the tasks."}});
    EXPECT_FALSE(isAlive(std::atoi(wrapper.read("0/pid").c_str())));
}

// In the background of a script an interrupt is meant for other programs. A closed terminal must not stop the
// output to a file. The streams may be closed, limited or cut.
TEST_F(CommandLine, HandlesForeignSignalsAndBrokenStreams)
{
    wrapper.tasks({"a 1"}).executable(kProgram);
    expect({{R"("$P" run "$W" & upto test -e "$W/0/VTask_runStarted"; kill -INT $!; kill -HUP $!; wait $!)",
        0, "1 of 1 done"}});
    wrapper.write("0/runOutput", std::string(300000, 'x'));
    expect({{R"(T status "$W" >&-)", 0},
        {R"(rm "$W/MacOSX/program.md5"; (ulimit -f 0; T status "$W") | cat; test ! -e "$W/MacOSX/program.md5")",
            0, "1 of 1 done"},
        {R"((ulimit -f 100; T output "$W" 1 > shown))", 1, "", "can not be written: File too large"},
        {R"(T output "$W" 1 | head -c 1; exit ${PIPESTATUS[0]})", 1, "x"},
        {R"(T clear --yes "$W" 1 && trap '' CHLD && T run "$W")", 0, "1 of 1 done"}});
}

TEST_F(CommandLine, PrintsWhyNothingCanBeRun)
{
    wrapper.tasks({"a", "b"});
    const std::string noProgram = "names no executable in its Executable.plist";
    expect({{kRun, 1, "", noProgram}, {R"(T run "$W" --dry-run)", 1, "", noProgram}});
    wrapper.executable(kProgram);
    std::ignore = files::remove(wrapper / "0");
    expect({{kRun, 1, "1 of 2 done, 1 waiting", "Could not run task\n    Could not run the task ("}});
    wrapper.tasks({});
    const std::string noTask = "There is no task 1: the wrapper has no tasks.";
    expect({{kRun, 1, "", "has no tasks"}, {R"(T files "$W" 1)", 2, "", noTask},
        {R"(T clear "$W" 1)", 2, "", noTask}});
}

TEST_F(CommandLine, WrongUsePrintsASentenceAndReturnsTwo)
{
    wrapper.tasks({"a"}).executable(kProgram);
    wrapper.write("../file.vtask");
    EXPECT_TRUE(files::createDirectory(wrapper.folder() / "folder"));
    const std::pair<const char*, const char*> cases[] = {
        {"T status none.vtask", "none.vtask does not exist."},
        {"T status file.vtask", "file.vtask is not a folder"},
        {"T status folder", "its name does not end in .vtask"},
        {R"(T files "$W" 7)", "There is no task 7: the tasks of this wrapper are 1 to 1."},
        {R"(T files "$W" 0)", "There is no task 0"},
        {R"(T variables "$W" 1 nothing.svbin)", "Task 1 has no file nothing.svbin."},
        {R"(T variables "$W" 2 x)", "There is no task 2"},
        {R"(T variables "$W" 1x x)", "\"1x\" is not the number of a task."},
        {R"(T variables "$W" 1)", "FILE"},
        {"T variables a b c d", "Too many arguments"},
        {"T value x", "give FILE NAME, or WRAPPER NUMBER FILE NAME"},
        {"T value a b c", "give FILE NAME"},
        {"T value none.svbin x; s=$?; test ! -e none.svbin && exit $s", "none.svbin does not exist."},
        {"T value --time soon a b", "--time"},
        {"T variables /nonexistent", "trelkind: /nonexistent does not exist."},
        {"T variables /", "is a folder, not a data file"},
        {R"(T clear "$W" 1-x)", "neither the number of a task nor a range"},
        {R"(T clear "$W")", "--aborted"},
        {R"(T run "$W" 1-4)", "There is no task 4"},
        {R"(T run "$W" --concurrency 0)", "--concurrency"},
        {R"(T run "$W" --concurrency 33)", "--concurrency"},
        {"T run", "WRAPPER"},
        {"T dance", "trelkind: there is no verb \"dance\""},
        {"T", "trelkind: a verb is missing. Run with --help for more information.\n"},
    };
    for (const auto& [line, sentence] : cases)
        expect({{line, 2, "", sentence}});
    for (const char* call : {"output --json --follow W 1", "variables -f --json x", "run W 1 --failed",
             "value --step 1 --time 1 a b", "value --json --csv a b", "clear --aborted W 1"})
        expect({{std::string("T ") + call, 2, "", "excludes"}});
    for (const char* call : {"run {}", "prepare {}", "files {} 1", "output {} 1", "clear {} 1",
             "variables {} 1 x", "value {} 1 x y"})
        expect({{"T " + fmt::format(fmt::runtime(call), "none.vtask"), 2, "", "none.vtask does not exist."}});
    EXPECT_TRUE(wrapper.has("0/input"));
    for (const char* line : {"T --help", "T run --help", "T clear --help"})
        expect({{line, 0, "Exit status: 0 done"}});
}

TEST_F(CommandLine, WorksInAPlainLocaleAndWithoutMd5)
{
    wrapper.tasks({"a"}).executable(kProgram);
    wrapper.write("0/x\ty");
    expect({{R"(T files "$W" 1)", 0, "x\uFFFDy"}, {R"(LC_ALL=C T files "$W" 1)", 0, "x?y"},
        {R"(rm "$W/MacOSX/program.md5"; LIBGCRYPT_FORCE_FIPS_MODE=1 T status "$W"
            test ! -e "$W/MacOSX/program.md5")",
            0, "0 of 1 done"}});
}

void writeVariables(const std::string& path)
{
    SVDataFile file(path.c_str(), SVFile::NewReadWrite);
    for (const auto& [name, text] : {std::pair("Seq_energy", "Real Number"), {"Seq_Big", "Real Number"},
             {"Seq_title", "String"}, {"title", "a \"b\""}, {"Seq_grid", "Array"}, {"Seq_range", "Range"},
             {"Seq_long", "NumberList"}, {"Seq_path", "Path2D"}, {"Seq_bad", "Nonsense"},
             {"Seq_none", "Array"}, {"Seq_group", "Group"}, {"SeqInfo_group", "Group"},
             {"SeqInfo_group_1N", "x"}, {"SeqInfo_group_1T", "Real Number"}, {"Seq_series", "Series"},
             {"SeqInfo_series", "Series"}, {"SeqInfo_series_type", "Real Number"}, {"Seq_table", "Table"},
             {"table_0N", "x,y"}, {"table_0V_T", "Number"}, {"table_1N", "who"}, {"table_1V_T", "UTF8"}})
        file.Save(text, name);
    for (const auto& [name, number] :
        {std::pair("Big", -std::numeric_limits<double>::infinity()), {"path", 1}, {"SeqInfo_group_N", 1},
            {"group_x", 2.5}, {"series_0", 7}, {"series_1", 8}, {"table", 2}})
        file.Save(number, name);
    for (int k = 0; k < 4; ++k) {
        file.Save(0.1 * k, fmt::format("energy_{}_time", k).c_str());
        file.Save(1.0 / (3 + k), fmt::format("energy_{}", k).c_str());
    }
    // An array of the multiples of a number, with another first one.
    const auto save = [&file](const char* name, double first, double step, long m, long n = 1, long o = 1) {
        SVMutableDoubleArray array(m, n, o);
        for (long i = 0; i < m * n * o; ++i)
            array(i) = i == 0 ? first : step * static_cast<double>(i);
        file.Save(array, name);
    };
    save("grid", std::nan(""), 0.1, 2, 3, 2);
    save("range", std::nan(""), 2, 2);
    save("long", 0, 1, 1000);
    save("SeqInfo_series_TimeValues", 0, 0.5, 2);
    save("table_0V", 0, 0.5, 2);
    file.Save(SVDoubleArray(), "group");
    SVMutableCharArray block(6);
    std::copy_n("a\0b,c", 6, block.Pointer());
    file.Save(block, "table_1V");
    SVMutableIntArray starts(2);
    starts = 0;
    starts(1) = 2;
    file.Save(starts, "table_1V_offs");
}

TEST_F(CommandLine, ShowsTheVariablesOfADataFile)
{
    wrapper.tasks({"a"});
    writeVariables(wrapper / "0/r.svbin");
    const std::string illegal = "trelkind: Illegal variable type \"Nonsense\"\n";
    for (const std::string place : {R"(T variables "$W" 1 r.svbin)", R"(T variables "$W/0/r.svbin")"})
        expect({{place, 0,
            "Name    Type         Information\nBig     Real Number  -inf\nenergy  Real Number  4 time "
            "values\n"
            "grid    Array        1 time value\n...none    Array        Empty\n",
            illegal}});
    const json all = shell(R"(T variables --json "$W/0/r.svbin")").parsed();
    ASSERT_EQ(all.size(), 11U);
    EXPECT_EQ(all[1],
        (json{{"Name", "energy"}, {"Type", "Real Number"}, {"Information", "4 time values"},
            {"Time Values", {0.0, 0.1, 0.2, 0.1 * 3}}, {"Structure", nullptr}}));
    EXPECT_EQ(all[3]["Structure"], "Group\n    x = Real Number\n");

    wrapper.write("../empty.svbin");
    SVDataFile plain((wrapper.folder() / "plain.svbin").c_str(), SVFile::NewReadWrite);
    plain.Save(1.0, "x");
    plain.Flush();
    wrapper.write("../junk", std::string(100, '\1'));
    expect({{"T variables empty.svbin", 0, "empty.svbin is empty.\n"},
        {"T variables empty.svbin --json", 0, "[]\n"},
        {"T variables plain.svbin", 0, "plain.svbin announces no variables. \"svdata list"},
        {"T variables junk", 1, "", "has an invalid format...junk can not be read as a data file."},
        {"printf Sorvanta > torn.svbin; T variables torn.svbin --json", 1, "[]\n", "has incorrect format"},
        {"mkfifo pipe.svbin; T value pipe.svbin x", 1, "", "pipe.svbin can not be opened for reading.\n"},
        {"T value plain.svbin x", 1, "", "announces no variables"},
        {R"(T variables "$W/0/r.svbin" > /dev/full)", 1, "", "can not be written"},
        {R"(T value "$W/0/r.svbin" long --csv > /dev/full)", 1, "", "can not be written"}});
}

TEST_F(CommandLine, ShowsOneValueInEachForm)
{
    wrapper.tasks({"a"});
    writeVariables(wrapper / "0/r.svbin");
    const auto value = [this](const std::string& what) { return shell(R"(T value "$W" 1 r.svbin )" + what); };
    const json nan = "NaN";
    const struct {
        std::string what;
        std::string text, csv;
        json type, time, description, content;
    } cases[] = {
        {"energy", "0.3 (step 3 of 0-3)\nDescription  0.16666666666666...", "0.16666666666666666\n",
            "Real Number", 0.1 * 3, nullptr, 1.0 / 6},
        {"energy --time 0.19999999", "0.2 (step 2 of 0-3)", "0.2\n", "Real Number", 0.2, "0.2", 0.2},
        {"energy --step 0", "0 (step 0 of 0-3)", "0.3333333333333333\n", "Real Number", 0.0, nullptr,
            1.0 / 3},
        {"energy --step 4", "No such value\n", "", "Real Number", nullptr, "No such value", nullptr},
        {"energy --time -1", "No such value\n", "", "Real Number", nullptr, "No such value", nullptr},
        {"Big", "-inf", "-Infinity\n", "Real Number", 0.0, "-inf", "-Infinity"},
        {"title", "\n\na \"b\"\n", "\"a \"\"b\"\"\"\n", "String", 0.0, "a \"b\"", "a \"b\""},
        {"grid", "2 x 3 x 2\n\nNaN  0.2  0.4\n0.1  0.3  0.5\n\n0.6  0.8    1\n",
            "NaN,0.2,0.4\n0.1,0.30000000000000004,0.5\n\n0.6000000000000001,0.8,1\n"
            "0.7000000000000001,0.9,1.1\n",
            "Array", 0.0, "2 x 3 x 2",
            json{{"m", 2}, {"n", 3}, {"o", 2},
                {"values", {nan, 0.1, 0.2, 0.1 * 3, 0.4, 0.5, 0.1 * 6, 0.1 * 7, 0.8, 0.9, 1.0, 1.1}}}},
        {"range", "Empty\n\nNaN\n  2\n", "NaN\n2\n", "Range", 0.0, "Empty",
            json{{"m", 2}, {"n", 1}, {"o", 1}, {"values", {nan, 2.0}}}},
        {"path", "Values of the type Path2D can not be shown\n", "", "Path2D", 0.0, nullptr, nullptr},
        {"none", "Description  Empty\n", "", "Array", nullptr, "Empty", nullptr},
        {"group", "Name  Type         Description\nx     Real Number  2.5\n",
            "Name,Type,Description\nx,Real Number,2.5\n", "Group", 0.0, "1 entry",
            json{{"x", {{"Type", "Real Number"}, {"Description", "2.5"}}}}},
        {"series", "2 entries\n\n  0\n0.5\n", "0\n0.5\n", "Series", nullptr, "2 entries",
            json{{"times", {0.0, 0.5}}}},
        {"series --time 0.7", "0.5 (step 1 of 0-1)\nDescription  8\n", "8\n", "Real Number", 0.5, "8", 8.0},
        {"table", "x,y  who\n  0  a\n0.5  b,c\n", "\"x,y\",who\n0,a\n0.5,\"b,c\"\n", "Table", 0.0,
            "2 columns, 2 rows", json{{"x,y", {0.0, 0.5}}, {"who", {"a", "b,c"}}}},
    };
    for (const auto& [what, text, csv, type, time, description, content] : cases) {
        SCOPED_TRACE(what);
        expect({{R"(T value "$W/0/r.svbin" )" + what, 0, text, "Nonsense"}});
        EXPECT_EQ(value(what + " --csv").out, csv);
        json found = value(what + " --json").parsed();
        if (description.is_null())
            found["Description"] = nullptr;
        EXPECT_EQ(found,
            (json{{"Name", what.substr(0, what.find(' '))}, {"Type", type}, {"Time", time},
                {"Description", description}, {"Value", content}}));
    }
    expect({{R"(T value "$W" 1 r.svbin long)", 0, "\n15\n(16 of 1000 rows; --csv writes all.)\n", "Nonsense"},
        {R"(T value "$W" 1 r.svbin long --csv | wc -l)", 0, "1000\n", "Nonsense"},
        {R"(T value "$W" 1 r.svbin Energy)", 1, "", "r.svbin has no variable \"Energy\"."}});
}

// A real program writes a step for each line that it is sent, while the verb follows.
TEST_F(CommandLine, FollowsTheVariablesOfAGrowingFile)
{
    wrapper.tasks({"a"});
    const std::string begin = R"(set -m; F="$W/0/r.svbin"; rm -f shown steps; mkfifo steps
        "$V" "$F" < steps & exec 4> steps; echo >&4; upto grep -qs v_0 "$F"
        follow() { "$P" variables --follow "$@" > shown 4>&- & follower=$!; upto grep -qs 'Real Number  0$' shown; }
        )";
    expect({{begin + R"(touch "$W/0/VTask_runStarted"; follow "$W" 1 r.svbin
                echo >&4; echo >&4; upto grep -q '3 time' shown
                echo >&4; exec 4>&-; wait %1; touch "$W/0/VTask_runCompleted"; wait $follower; s=$?
                cat shown; exit $s)",
                0, "Name  Type         Information\nv     Real Number  0\n...4 time values\n"},
        {begin + R"(follow "$F"; exec 4>&-; kill -INT $follower; wait $follower)", 130},
        // A file that was replaced is read anew.
        {begin + R"(follow "$F"; rm "$F"; exec 4>&-; seq 7 | "$V" "$F"; upto grep -q '7 time' shown
                kill -INT $follower; wait $follower)",
            130}});
}

TEST_F(CommandLine, ARunningTaskIsNotCleared)
{
    wrapper.tasks({"a"}).executable(kProgram);
    wrapper.write("0/VTask_runStarted");
    expect({{R"((cd "$W/0" && exec sleep 60) & upto test /proc/$!/cwd -ef "$W/0"
                T clear "$W" 1; s=$?; kill $!; exit $s)",
                1, "Cleared 0 tasks.\n", "Task 1 is running in process "},
        {kRun, 1, "1 running", "in their folders: 1."}, {R"(T clear "$W" 1)", 0, "Cleared 1 task.\n"}});
    EXPECT_FALSE(wrapper.has("0/VTask_runStarted"));
}

TEST_F(CommandLine, FollowsTheOutputOfARunUntilItEnds)
{
    wrapper.tasks({"a"}).executable("#!/bin/sh\nfor i in 1 2 3; do echo line $i; sleep 0.4; done\n");
    expect({{R"(T output --follow "$W" 1 2> said & upto grep -qs waits said
                T run "$W" > /dev/null; wait $!; s=$?; cat said >&2; exit $s)",
        0, "line 1\nline 2\nline 3\n", "Task 1 waits to be run"}});

    // The file is truncated, and is longer than before when it is read again.
    wrapper.write("0/runOutput", "old\n");
    std::ignore = files::remove(wrapper / "0/VTask_runCompleted");
    const std::string follow = R"(rm -f shown; "$P" output -f "$W" 1 > shown & upto grep -qs old shown;)";
    expect({{"set -m; " + follow + "kill -INT $!; wait $!", 130},
        {follow + R"(echo new and longer > "$W/0/runOutput"; touch "$W/0/VTask_aborted"; wait $! && cat shown)",
            0, "old\nnew and longer\n"}});
    wrapper.write("0/runOutput", std::string(9000000, 'x'));
    expect({{R"(T output -f "$W" 1 | wc -c)", 0, "9000000\n"}});
    wrapper.write("0/runOutput", "a\r\n\r\xff\n" + std::string(70000, 'x') + "\r\nlast");
    const json rows = shell(R"(T output --json "$W" 1)").parsed();
    ASSERT_EQ(rows.size(), 5U);
    EXPECT_EQ(rows[2], (json{{"Number", "3"}, {"Line", "\uFFFD"}}));
    EXPECT_TRUE(rows[3].at("Line").get<std::string>().size() == 70000 && rows[4].at("Line") == "last");
    expect({{R"(T output --json "$W" 1 > /dev/full)", 1, "", "can not be written"}});
}

TEST_F(CommandLine, ReportsRunsThatLookWrong)
{
    wrapper.tasks({"", "", "", "", ""}).executable(kProgram);
    expect({{R"(cd "$W"; for i in 0 1 2 3 4; do touch -d 12:00:00 $i/VTask_runStarted; echo x > $i/runOutput
                    touch -d 12:00:1$i $i/VTask_runCompleted; done
                touch -d 12:00:00.9 4/VTask_runCompleted; : > 2/runOutput; T run "$W")",
                0, "5 of 5 done",
                "Ended in far less time than the others: 5. Look at...Ended without any output: 3.\n"},
        {R"(cd "$W"; for i in 0 1 2 3 4; do : > $i/runOutput; touch -d 12:00:08 $i/VTask_runCompleted; done
            T run "$W")",
            0, "5 of 5 done"}}); // A program that prints nothing is normal.
}

// The companion is started during the run. It hears of the start, and before the program ends, of the end.
TEST_F(CommandLine, ACompanionHearsOfARun)
{
    wrapper.tasks({"a"}).executable("#!/bin/sh\nwhile [ ! -e ../go ]; do sleep 0.05; done\n");
    expect({{R"(T run "$W" & run=$!; upto test -e "$W/0/VTask_runStarted"
        "$L" > heard & upto grep -qs "$W: 0" heard; touch "$W/go"; wait $run
        while [ $(grep -c "$W: 0" heard) != 2 ]; do sleep 0.05; done; kill $!)",
                0, "1 of 1 done"},
        {R"("$L" > heard & upto grep -qs listening heard; kill -STOP $!
            timeout 5 "$P" clear --yes "$W" 1; s=$?; kill -KILL $!; exit $s)",
            0, "Cleared 1 task."}}); // A companion that takes no messages does not block the program.
}

TEST_F(CommandLine, PreparesTheProjectThatTheWrapperNames)
{
    constexpr const char* kPrepare = R"(T prepare "$W")";
    wrapper.tasks({"a", "b"}).executable(kProgram, "my program");
    expect({{kPrepare, 1, "", "has no project"}});
    wrapper.information("Project Name", wrapper.folder() / "p.xcodeproj");
    expect({{kPrepare, 1, "", "p.xcodeproj does not exist."}});

    wrapper.write("../p.xcodeproj/project.pbxproj",
        "// !$*UTF8*$!\n{ objects = { P = { mainGroup = G; targets = (T); };\n"
        "G = { isa = PBXGroup; sourceTree = \"<group>\"; children = (F); };\n"
        "F /* a.cpp */ = { isa = PBXFileReference; path = \"a file.cpp\"; sourceTree = \"<group>\"; };\n"
        "T = { productName = \"my program\"; buildPhases = (B); };\n"
        "B = { files = (BF); }; BF = { fileRef = F; }; }; rootObject = P; }\n");
    wrapper.write("../a file.cpp", "int main() {}\n");
    expect({{kPrepare, 0, "Prepared " + wrapper / "Project.\n"}, {kPrepare, 0, "Prepared"}});
    EXPECT_EQ(wrapper.read("Project/Sources/a file.cpp"), "int main() {}\n");
    EXPECT_EQ(wrapper.read("Project/Sources/Makefile.sources"), "CXX_SRCS = \\\na file.cpp\n\nC_SRCS = \n\n");
    EXPECT_THAT(wrapper.read("Project/Sources/Makefile"), HasSubstr("PROGRAM = my_program\n"));
    EXPECT_EQ(wrapper.read("Project/compile"), "#!/bin/sh\n\npushd .\ncd Sources\nmake -j 3\npopd\n");
    EXPECT_EQ(wrapper.read("Project/submit"),
        "#!/bin/bash\n\nfor i in {0..1}\ndo\n   cp runScript ../$i/test\ndone\n");
    EXPECT_EQ(files::attributes(wrapper / "Project/submit")->permissions, 0700U);

    expect({{R"(rm "$W/Project/compile"; mkdir "$W/Project/compile"; T prepare "$W")", 1, "",
                "compile could not be written: a folder has its name."},
        {R"(rmdir "$W/Project/compile"; echo // >> 'a file.cpp'; T prepare "$W")", 1, "", "differs from"},
        {R"(rm 'a file.cpp'; T prepare "$W")", 1, "", "a file.cpp does not exist."},
        {R"(rm -r "$W/Project"; ln -s /proc/self/fdinfo "$W/Project"; T prepare "$W")", 1, "",
            "can not be written"},
        {R"(rm "$W/Project"; touch "$W/Project"; T prepare "$W")", 1, "", "Project could not be written."}});
}

} // namespace
