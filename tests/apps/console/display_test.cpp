#include "apps/console/BatchProgress.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/TerminalText.h"
#include "task/WrapperOnDisk.h"
#include "task/application/KRTrelkindController.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <clocale>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct Display : testing::Test {
    Display() { std::setlocale(LC_CTYPE, "C.UTF-8"); }
};

TEST_F(Display, TextAndBarsHaveTheirWidth)
{
    const struct {
        std::string text;
        int columns;
        std::string fitted;
    } cases[] = {{"abc", 3, "abc"}, {"abcd", 3, "ab\u2026"}, {"\u00e4\u00f6\u00fc", 3, "\u00e4\u00f6\u00fc"},
        {"\u6f22\u5b57\u6f22", 4, "\u6f22\u2026"}, {"a\nb\x1b[31m", 9, "a\uFFFDb\uFFFD[31m"},
        {"\xff\xfe", 2, "\uFFFD\uFFFD"}, {"abc", 0, ""}, {"", 2, ""}};
    for (const auto& [text, columns, fitted] : cases) {
        EXPECT_EQ(terminal::fitted(text, columns), fitted) << text;
        EXPECT_LE(terminal::columnsOf(terminal::fitted(text, columns)), columns);
        EXPECT_EQ(terminal::columnsOf(terminal::padded(text, columns)), columns);
    }
    EXPECT_EQ(terminal::printable("a\u009b31m\x1b\x7f\xff\n\tb\n"), "a\uFFFD31m\uFFFD\uFFFD\uFFFD\n\tb\n");
    EXPECT_EQ(terminal::paddedLeft("7", 3), "  7");
    for (double percentage = -5; percentage < 110; percentage += 0.7)
        for (const bool unicode : {false, true})
            EXPECT_EQ(terminal::columnsOf(terminal::bar(percentage, 13, unicode)), 13) << percentage;
    EXPECT_EQ(terminal::bar(50, 4, false), "##..");
    EXPECT_EQ(terminal::bar(100, 2, true), "\u2588\u2588");
}

TEST_F(Display, NoLineOfTheLiveTableIsWiderThanAnyTerminal)
{
    WrapperOnDisk wrapper;
    std::vector<std::string> arguments(
        60, "--long argument --with \u00fcmlaut \u6f22\u5b57 and more of it than fits");
    wrapper.tasks(arguments);
    for (int i = 0; i < 10; ++i) {
        wrapper.write(std::to_string(5 * i) + "/VTask_runStarted");
        wrapper.write(
            std::to_string(5 * i) + "/SVProgress", std::string(static_cast<std::size_t>(10 * i), '.'));
    }
    const auto controller = KRTrelkindController::createFromWrapperName(wrapper.path());
    const BatchProgress progress(*controller);
    for (int columns = 1; columns <= 200; columns += columns < 60 ? 1 : 37) {
        for (const int rows : {1, 2, 5, 24, 100}) {
            const auto lines = progress.lines({columns, rows}, progress.total(3661, 4), {"a notice", "b"});
            EXPECT_LE(static_cast<int>(lines.size()), rows);
            for (const std::string& line : lines)
                EXPECT_LE(terminal::columnsOf(line), columns) << columns << "x" << rows;
        }
    }
    EXPECT_THAT(progress.lines({200, 100}, "", {}).front(), HasSubstr(arguments.front())) << "there is room";
}

TEST_F(Display, ALineShowsTheStateOfATask)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"-a", "-b is running", "-c", "-d", "-e"});
    for (const auto& [name, secondsAgo] : {std::pair("0/VTask_runStarted", 100), {"0/VTask_runCompleted", 35},
             {"1/VTask_runStarted", 3730}, {"3/VTask_runStarted", 20}, {"3/VTask_aborted", 10},
             {"4/VTask_runStarted", 40}, {"4/VTask_runCompleted", 35}})
        wrapper.write(name, "", secondsAgo);
    wrapper.write("1/SVProgress", std::string(42, '.'));
    wrapper.write("4/VTask_exitStatus", "139");
    const auto controller = KRTrelkindController::createFromWrapperName(wrapper.path());
    const BatchProgress progress(*controller);
    const char* const running = "2  Running       █████░░░░░░░  42% 1:02:10  -b is running";
    const char* const crashed = "5  Done SIGSEGV               100%    0:05  -e";
    EXPECT_THAT(progress.lines({70, 24}, "total", {"first", "second"}),
        ElementsAre("1  Done                       100%    1:05  -a", running,
            "3  Waiting                                  -c",
            "4  Aborted                            0:10  -d", crashed, "███████████▏░░░░░░░░░░░  48%  total",
            "first", "second"));
    EXPECT_THAT(progress.lines({70, 5}, "total", {}),
        ElementsAre(running, "3  Waiting                                  -c", crashed, "and 2 more",
            "███████████▏░░░░░░░░░░░  48%  total"));
    EXPECT_THAT(progress.lines({70, 6}, "total", {}).front(), HasSubstr("1  Done")) << "all fit";
    EXPECT_THAT(progress.lines({30, 4}, "total", {"first", "second"}),
        ElementsAre("2 Running  42%", "and 4 more", "████▊░░░░░  48%  total", "second"));
    EXPECT_THAT(progress.total(61, 4),
        HasSubstr("2 of 5 done, 1 running, 1 waiting, 1 aborted, 1 failed  1:01, about 1:25:5"));

    TablePrinter printer(controller->views()->taskList, {"Argument", "Progress", "Time"});
    printer.showRows({1, 0});
    EXPECT_EQ(printer.text(0),
        "Argument       Progress  Time\n-b is running       42%   0.5\n-a                 100%     0\n");
    EXPECT_EQ(printer.text(20), "Argum…  Progr…  Time\n-b is…     42%   0.5\n-a        100%     0\n");
    EXPECT_EQ(printer.text(5), "Arg…  Pro…  Time\n-b …   42%   0.5\n-a    100%     0\n");
    EXPECT_EQ(printer.json()[0].dump(), R"({"Argument":"-b is running","Progress":42.0,"Time":"0.5"})");
}

} // namespace
