#include "apps/console/BatchProgress.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/TerminalText.h"
#include "task/KRTrelkindController.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <clocale>

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
    EXPECT_EQ(elapsedText(7.9), "0:07");
    EXPECT_EQ(elapsedText(3 * 3600 + 4 * 60 + 5), "3:04:05");
}

TEST_F(Display, ABarHasItsWidthAtEveryPercentage)
{
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
    const auto few = progress.lines({120, 12}, progress.total(0, 4), {});
    int running = 0;
    for (const std::string& line : few)
        running += line.find("Running") != std::string::npos;
    EXPECT_EQ(running, 10) << "those that run come first when not all fit";
    EXPECT_EQ(few.at(10), "and 50 more");
    EXPECT_THAT(few.back(), HasSubstr("0 of 60 done, 10 running, 50 waiting  0:00"));
    EXPECT_THAT(progress.lines({200, 100}, "", {}).front(), HasSubstr(arguments.front())) << "there is room";
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
    table.setColumns({{.identifier = "Name"}, {.identifier = "Other"},
        {.identifier = "Progress", .cell = toolkit::Column::Cell::Progress},
        {.identifier = "Size", .alignment = toolkit::Column::Alignment::Right}});
    table.setDataSource(&source);
    const TablePrinter printer(table, {"Name", "Progress", "Size"});
    EXPECT_EQ(printer.text(0), "Name     Progress   Size\na \"b\" \uFFFD       42%  1.5MB\n");
    const std::string narrow = printer.text(20);
    EXPECT_LE(terminal::columnsOf(narrow.substr(0, narrow.find('\n'))), 20);
    const auto rows = printer.json();
    EXPECT_EQ(rows[0]["Progress"], 42.0);
    EXPECT_EQ(rows[0]["Size"], "1.5MB");
    EXPECT_NO_THROW((void)rows.dump(0, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

} // namespace
