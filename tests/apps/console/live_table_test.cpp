// The program on a real pseudo-terminal.

#include "apps/console/OnTerminal.h"
#include "apps/console/TerminalText.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <clocale>
#include <csignal>
#include <regex>
#include <sstream>
#include <tuple>
#include <unistd.h>

namespace {

using support::countOf;
using support::OnTerminal;
using testing::HasSubstr;

constexpr std::string_view kEnter = "\033[?1049h";
constexpr std::string_view kLeave = "\033[?1049l";

// The lines of each frame, without control sequences.
std::vector<std::vector<std::string>> framesOf(const std::string& text)
{
    static const std::regex control("\033\\[[0-9;?]*[A-Za-z]|\r");
    std::vector<std::vector<std::string>> frames;
    for (auto place = text.find("\033[H"); place != std::string::npos;
         place = text.find("\033[H", place + 1)) {
        std::istringstream frame(
            std::regex_replace(text.substr(place, text.find("\033[J", place) - place), control, ""));
        frames.emplace_back();
        for (std::string line; std::getline(frame, line);)
            frames.back().push_back(line);
    }
    return frames;
}

constexpr const char* kWaitsForGo =
    "#!/bin/sh\nprintf 1234567890 > SVProgress\nwhile [ ! -e ../go ]; do sleep 0.05; done\n";

TEST(LiveTable, FitsTheWindowAndKeepsTheMainScreen)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    WrapperOnDisk wrapper;
    wrapper.tasks({"--first argument", "--second argument", "c", "d", "e", "f"}).executable(kWaitsForGo);
    OnTerminal program(wrapper, {"run", "-j6", wrapper.path()});
    ASSERT_TRUE(program.reads("\033[H", 3));
    EXPECT_THAT(framesOf(program.text()).back().front(), HasSubstr("--first argument"));
    EXPECT_THAT(program.text(), HasSubstr("\033[36mRunning"));

    const winsize sizes[] = {{24, 40, 0, 0}, {24, 120, 0, 0}, {5, 30, 0, 0}};
    for (const winsize& size : sizes) {
        const std::size_t before = countOf(program.text(), "\033[H");
        program.resize(size);
        ASSERT_TRUE(program.reads("\033[H", before + 3));
        const auto drawn = framesOf(program.text());
        const auto& frame = drawn.at(drawn.size() - 2); // The last frame may be incomplete.
        EXPECT_LE(frame.size(), size.ws_row);
        for (const std::string& line : frame)
            EXPECT_LE(terminal::columnsOf(line), size.ws_col) << line;
    }
    EXPECT_EQ(countOf(program.text(), kEnter), 1U);
    wrapper.write("go");
    EXPECT_EQ(program.finish(), 0);

    // In the end the main screen has the table and the totals, and nothing of the frames.
    const std::string& text = program.text();
    EXPECT_EQ(countOf(text, kLeave), 1U);
    EXPECT_TRUE(text.starts_with(kEnter)) << text.substr(0, 40);
    EXPECT_THAT(text, HasSubstr("\033[K\r\n")) << "each line clears what the last frame had there";
    const std::string left = text.substr(text.rfind(kLeave) + kLeave.size());
    EXPECT_EQ(countOf(left, "\n"), 8U) << left;
    EXPECT_THAT(left, HasSubstr("6 of 6 done, 0:"));
}

TEST(LiveTable, GivesTheTerminalBackWhenItIsSuspendedAndInterrupted)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"a"}).executable("#!/bin/sh\ntrap 'sleep 1; exit' TERM\nsleep 60 & wait\n");
    OnTerminal program(wrapper, {"run", wrapper.path()});
    ASSERT_TRUE(program.reads("Running"));
    program.type("\x1a");
    ASSERT_TRUE(program.reads(kLeave));
    int status = 0;
    EXPECT_EQ(::waitpid(program.process(), &status, WUNTRACED), program.process());
    EXPECT_TRUE(WIFSTOPPED(status));
    ::kill(program.process(), SIGCONT);
    ASSERT_TRUE(program.reads(kEnter, 2));

    program.type("\003");
    EXPECT_EQ(program.finish(), 130);
    const std::string& text = program.text();
    EXPECT_THAT(text.substr(text.rfind(kLeave)), HasSubstr("0 of 1 done, 1 aborted"));
    const std::string notice = "Ending the tasks; interrupt once more to kill them.";
    EXPECT_THAT(text, HasSubstr("trelkind: " + notice));
    EXPECT_EQ(framesOf(text).back().back(), notice) << "the live table goes on and shows it";
    EXPECT_GT(text.rfind("\033[?25h"), text.rfind("\033[?25l")) << "the cursor is visible again";
}

TEST(LiveTable, AClosedTerminalDoesNotEndTheBatch)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"a"}).executable(kWaitsForGo);
    OnTerminal program(wrapper, {"run", wrapper.path()});
    ASSERT_TRUE(program.reads("Running"));
    program.close();
    wrapper.write("go");
    EXPECT_EQ(program.finish(), 0);
    EXPECT_TRUE(wrapper.has("0/VTask_runCompleted"));
}

TEST(LiveTable, UsesOnlyWhatTheTerminalSupports)
{
    const std::tuple<const char*, bool, const char*> cases[] = {{"TERM=dumb", false, "task 1: Done\r\n"},
        {"TERM=", false, "task 1: Done\r\n"}, {"TERM=ansi", false, "task 1: Done\r\n"},
        {"NO_COLOR=1", true, "Number"}, {"NO_COLOR=", true, "\033[1mNumber"}};
    for (const auto& [variable, isLive, part] : cases) {
        WrapperOnDisk wrapper;
        wrapper.tasks({"a"}).executable("#!/bin/sh\n");
        OnTerminal program(wrapper, {"run", wrapper.path()}, variable);
        EXPECT_EQ(program.finish(), 0);
        SCOPED_TRACE(program.text());
        EXPECT_EQ(countOf(program.text(), kEnter), isLive ? 1U : 0U);
        EXPECT_THAT(program.text(), HasSubstr(part));
        EXPECT_EQ(countOf(program.text(), "\033[1m") > 0, std::string_view(variable) == "NO_COLOR=");
    }
}

TEST(LiveTable, ClearingAsksOnATerminal)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"a"});
    wrapper.write("0/VTask_runStarted");
    wrapper.write("0/VTask_runCompleted");
    for (const auto& [answer, status] : {std::pair("\n", 1), {"n\n", 1}, {"\004", 1}, {"y\n", 0}}) {
        EXPECT_TRUE(wrapper.has("0/VTask_runCompleted"));
        OnTerminal program(wrapper, {"clear", wrapper.path(), "1"});
        ASSERT_TRUE(program.reads("[y/N] "));
        program.type(answer);
        EXPECT_EQ(program.finish(), status) << answer;
    }
    EXPECT_FALSE(wrapper.has("0/VTask_runCompleted"));
}

} // namespace
