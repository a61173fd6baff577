#include "apps/console/BatchChecks.h"
#include "apps/console/BatchProgress.h"
#include "apps/console/ExecutableCheck.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/TerminalText.h"
#include "task/KRTrelkindController.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <clocale>
#include <csignal>
#include <numeric>
#include <sys/resource.h>
#include <tuple>
#include <unistd.h>

namespace {

using testing::HasSubstr;
namespace files = platform::files;

class Display : public testing::Test {
protected:
    Display() { std::setlocale(LC_CTYPE, "C.UTF-8"); }
};

TEST_F(Display, TextIsMeasuredAndCutInColumns)
{
    const struct {
        std::string text;
        int columns;
        std::string fitted;
    } cases[] = {
        {"abc", 3, "abc"},
        {"abcd", 3, "ab\u2026"},
        {"\u00e4\u00f6\u00fc", 3, "\u00e4\u00f6\u00fc"},
        {"\u6f22\u5b57\u6f22", 4, "\u6f22\u2026"},
        {"a\nb\x1b[31m", 9, "a\uFFFDb\uFFFD[31m"},
        {"\xff\xfe", 2, "\uFFFD\uFFFD"},
        {"abc", 0, ""},
        {"", 2, ""},
    };
    for (const auto& [text, columns, fitted] : cases) {
        EXPECT_EQ(terminal::fitted(text, columns), fitted) << text;
        EXPECT_LE(terminal::columnsOf(terminal::fitted(text, columns)), columns);
        EXPECT_EQ(terminal::columnsOf(terminal::padded(text, columns)), columns);
    }
    EXPECT_EQ(terminal::printable("a\u009b31m\x1b\x7f\xff\n\tb\n"), "a\uFFFD31m\uFFFD\uFFFD\uFFFD\n\tb\n");
    EXPECT_EQ(terminal::paddedLeft("7", 3), "  7");
    EXPECT_EQ(terminal::elapsed(7.9), "0:07");
    EXPECT_EQ(terminal::elapsed(3 * 3600 + 4 * 60 + 5), "3:04:05");
}

TEST_F(Display, ABarHasItsWidthAtEveryPercentage)
{
    for (double percentage = -5; percentage < 110; percentage += 0.7)
        for (const bool unicode : {false, true})
            EXPECT_EQ(terminal::columnsOf(terminal::bar(percentage, 13, unicode)), 13) << percentage;
    EXPECT_EQ(terminal::bar(50, 4, false), "##..");
    EXPECT_EQ(terminal::bar(100, 2, true), "\u2588\u2588");
}

TEST_F(Display, ManyNumbersAreAShortText)
{
    std::vector<int> all(10000);
    std::iota(all.begin(), all.end(), 1);
    EXPECT_EQ(numberRanges(all), "1-10000");
    EXPECT_EQ(numberRanges({3, 4, 5, 12, 14, 15}), "3-5, 12, 14-15");
    std::erase_if(all, [](int number) { return number % 2 == 0; });
    EXPECT_TRUE(numberRanges(all).ends_with(", 37, 39 and 4980 more")) << numberRanges(all);
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
            const auto lines = progress.lines({columns, rows}, 3661);
            ASSERT_EQ(lines.texts.size(), lines.columns.size());
            EXPECT_LT(static_cast<int>(lines.texts.size()), std::max(rows, 2));
            for (std::size_t i = 0; i < lines.texts.size(); ++i) {
                EXPECT_LE(terminal::columnsOf(lines.texts[i]), std::max(1, columns - 1))
                    << columns << "x" << rows;
                EXPECT_LE(terminal::columnsOf(lines.texts[i]), lines.columns[i]);
            }
        }
    }
    const auto few = progress.lines({120, 13}, 0);
    int running = 0;
    for (const std::string& line : few.texts)
        running += line.find("Running") != std::string::npos;
    EXPECT_EQ(running, 10) << "those that run come first when not all fit";
    EXPECT_THAT(few.texts.back(), HasSubstr("0 of 60 done, 10 running, 50 waiting  0:00"));
}

struct OneRow : toolkit::TableDataSource {
    int numberOfRowsInTableView(const toolkit::Table&) override { return 1; }
    toolkit::CellValue objectValueForTableColumn(const toolkit::Table&, std::string_view column, int) override
    {
        if (column == "Progress")
            return 42.0;
        return std::string(column == "Name" ? "a \"b\" \xff" : "1.5MB");
    }
};

TEST_F(Display, ATableIsTextOrJson)
{
    OneRow source;
    toolkit::Table table;
    table.setDataSource(&source);
    const TablePrinter printer(table, {{"Name"}, {"Progress", true, true}, {"Size", true}});
    EXPECT_EQ(printer.text(0), "Name     Progress   Size\na \"b\" \uFFFD       42%  1.5MB\n");
    const std::string narrow = printer.text(20);
    EXPECT_LE(terminal::columnsOf(narrow.substr(0, narrow.find('\n'))), 20);
    const auto rows = printer.json();
    EXPECT_EQ(rows[0]["Progress"], 42.0);
    EXPECT_EQ(rows[0]["Size"], "1.5MB");
    EXPECT_NO_THROW((void)rows.dump(0, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

TEST_F(Display, AnExecutableThatCanNotRunHereIsTold)
{
    const TemporaryFolder folder;
    const auto write = [&](const std::string& bytes, std::uint32_t mode) {
        std::ignore = files::remove(folder / "p");
        EXPECT_TRUE(files::writeFile(folder / "p", bytes));
        EXPECT_TRUE(files::setPermissions(folder / "p", mode));
        return whyNotExecutable(folder / "p").value_or("");
    };
    std::string ours = files::readFile("/proc/self/exe").value_or("").substr(0, 64);
    std::string foreign = ours;
    foreign.at(18) = 99;
    EXPECT_THAT(whyNotExecutable(folder / "missing").value_or(""), HasSubstr("there is no file"));
    EXPECT_THAT(whyNotExecutable(folder.path()).value_or(""), HasSubstr("is a folder"));
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

TEST_F(Display, AFolderThatTakesNothingIsTold)
{
    const TemporaryFolder folder;
    EXPECT_FALSE(whyNotWritable(folder.path()));
    EXPECT_THAT(files::contentsOfDirectory(folder.path()).value(), testing::IsEmpty());
    EXPECT_THAT(whyNotWritable(folder / "missing").value_or(""), HasSubstr("No such file"));
    EXPECT_TRUE(whyNotWritable("/proc/self/fdinfo"));
    signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit nothing{0, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &nothing);
    EXPECT_THAT(whyNotWritable(folder.path()).value_or(""), HasSubstr("File too large"));
    setrlimit(RLIMIT_FSIZE, &former);
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_THAT(files::contentsOfDirectory(folder.path()).value(), testing::IsEmpty());
}

} // namespace
