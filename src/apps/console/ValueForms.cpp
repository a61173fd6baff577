#include "apps/console/ValueForms.h"

#include "apps/console/Numbers.h"
#include "apps/console/TerminalText.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>
#include <utility>

namespace {

using Json = nlohmann::ordered_json;
using ListColumn = ShownValue::Column;
using Cell = std::variant<std::string, StorageNumber>;

constexpr std::size_t kBytesOfCsvAtATime = std::size_t{64} << 10;
constexpr int kGapOfGrid = 2;
constexpr int kFewestRows = 4;

template <class... Cases>
struct ByKind : Cases... {
    using Cases::operator()...;
};

// JSON.

Json jsonArray(const KRAnyArray& array)
{
    auto json = Json::array();
    for (long i = 0; i < array.length(); ++i)
        json.push_back(jsonNumber(elementOf(array, i)));
    return json;
}

Json jsonColumn(const ListColumn& column)
{
    if (const auto* texts = std::get_if<std::vector<std::string>>(&column))
        return *texts;
    return jsonArray(std::get<KRAnyArray>(column));
}

const ByKind kAsJson{
    [](const ShownValue::Nothing&) { return Json(); },
    [](const StorageNumber& number) { return jsonNumber(number); },
    [](const std::string& text) { return Json(text); },
    [](const ShownValue::Matrix& matrix) {
        const KRAnyArray& array = matrix.array;
        return Json{{"m", array.m()}, {"n", array.n()}, {"o", array.o()}, {"values", jsonArray(array)}};
    },
    [](const ListColumn& column) { return jsonColumn(column); },
    [](const ShownValue::Table& table) {
        auto json = Json::object();
        for (const auto& [name, column] : table.columns)
            json[name] = jsonColumn(column);
        return json;
    },
    [](const ShownValue::Group& group) {
        auto json = Json::object();
        for (const auto& entry : group.entries)
            json[entry.name] = {{"Type", entry.type}, {"Description", entry.description}};
        return json;
    },
    [](const ShownValue::Series& series) {
        return Json{{"times", jsonArray(series.times)}};
    },
};

// Rows by columns: what a spreadsheet and a screen show.

struct Grid {
    std::vector<std::string> headings{}; // Empty for none.
    long rows = 0;
    long columns = 0;
    long rowsOfLayer = 0; // 0 for one layer.
    std::function<Cell(long row, long column)> cell{};
};

long lengthOf(const ListColumn& column)
{
    const auto* texts = std::get_if<std::vector<std::string>>(&column);
    return texts ? static_cast<long>(texts->size()) : std::get<KRAnyArray>(column).length();
}

// An empty text below the end of the column.
Cell cellOf(const ListColumn& column, long row)
{
    if (row >= lengthOf(column))
        return std::string();
    const auto* texts = std::get_if<std::vector<std::string>>(&column);
    if (texts)
        return (*texts)[static_cast<std::size_t>(row)];
    return elementOf(std::get<KRAnyArray>(column), row);
}

Grid singleCell(Cell cell)
{
    return {.rows = 1, .columns = 1, .cell = [cell](long, long) { return cell; }};
}

Grid singleColumn(const ListColumn& column)
{
    return {.rows = lengthOf(column), .columns = 1, .cell = [&column](long row, long) {
                return cellOf(column, row);
            }};
}

Grid gridOfMatrix(const KRAnyArray& array)
{
    const long m = array.m(), n = array.n();
    return {.rows = m * array.o(), .columns = n, .rowsOfLayer = m, .cell = [&array, m, n](long row, long j) {
                return elementOf(array, row % m + m * (j + n * (row / m)));
            }};
}

Grid gridOfTable(const ShownValue::Table& table)
{
    Grid grid{.columns = static_cast<long>(table.columns.size())};
    for (const auto& [name, column] : table.columns) {
        grid.headings.push_back(name);
        grid.rows = std::max(grid.rows, lengthOf(column));
    }
    grid.cell = [&table](long row, long column) {
        return cellOf(table.columns[static_cast<std::size_t>(column)].second, row);
    };
    return grid;
}

Grid gridOfGroup(const ShownValue::Group& group)
{
    return {.headings = {"Name", "Type", "Description"},
        .rows = static_cast<long>(group.entries.size()),
        .columns = 3,
        .cell = [&group](long row, long column) -> Cell {
            const auto& entry = group.entries[static_cast<std::size_t>(row)];
            return column == 0 ? entry.name : column == 1 ? entry.type : entry.description;
        }};
}

// It borrows the content.
const ByKind kAsGrid{
    [](const ShownValue::Nothing&) { return Grid(); },
    [](const StorageNumber& number) { return singleCell(number); },
    [](const std::string& text) { return singleCell(text); },
    [](const ShownValue::Matrix& matrix) { return gridOfMatrix(matrix.array); },
    [](const ListColumn& column) { return singleColumn(column); },
    [](const ShownValue::Table& table) { return gridOfTable(table); },
    [](const ShownValue::Group& group) { return gridOfGroup(group); },
    [](const ShownValue::Series& series) {
        return Grid{.rows = series.times.length(), .columns = 1, .cell = [&series](long row, long) {
                        return elementOf(series.times, row);
                    }};
    },
};

// A text that would be cut apart stands between double quotes.
std::string csvField(const std::string& text)
{
    const bool hasBlankEnds = text.starts_with(' ') || text.ends_with(' ');
    if (!hasBlankEnds && text.find_first_of(",;\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text)
        quoted.append(c == '"' ? 2 : 1, c);
    return quoted + "\"";
}

std::string csvField(const Cell& cell)
{
    const auto* number = std::get_if<StorageNumber>(&cell);
    return number ? exactText(*number) : csvField(std::get<std::string>(cell));
}

// The screen.

// The first rows of a grid as text, with as many columns as fit.
class ScreenOfGrid {
public:
    ScreenOfGrid(const Grid& grid, terminal::Size screen)
        : grid_(grid), rows_(std::min<long>(grid.rows, std::max(screen.rows, kFewestRows)))
    {
        int used = 0;
        for (long column = 0; column < grid.columns; ++column) {
            const int width = std::min(widthOf(column), screen.columns);
            used += width + (column > 0 ? kGapOfGrid : 0);
            if (column > 0 && used > screen.columns)
                break;
            widths_.push_back(width);
        }
    }

    std::string text() const
    {
        std::string text;
        if (!grid_.headings.empty())
            text += terminal::Output::standard().colored(
                        terminal::Output::Color::Bold, line(0, [&](long column) { return heading(column); }))
                + "\n";
        for (long row = 0; row < rows_; ++row) {
            if (row > 0 && grid_.rowsOfLayer > 0 && row % grid_.rowsOfLayer == 0)
                text += "\n";
            text += line(row, [&](long column) { return cell(row, column); }) + "\n";
        }
        return text + sentenceAboutTheRest();
    }

private:
    std::string heading(long column) const
    {
        return grid_.headings.empty() ? "" : grid_.headings[static_cast<std::size_t>(column)];
    }
    std::string cell(long row, long column) const
    {
        const Cell cell = grid_.cell(row, column);
        const auto* number = std::get_if<StorageNumber>(&cell);
        return number ? shortText(*number) : std::get<std::string>(cell);
    }
    bool isNumber(long row, long column) const
    {
        return rows_ > 0 && std::holds_alternative<StorageNumber>(grid_.cell(row, column));
    }
    int widthOf(long column) const
    {
        int width = terminal::columnsOf(heading(column));
        for (long row = 0; row < rows_; ++row)
            width = std::max(width, terminal::columnsOf(cell(row, column)));
        return width;
    }
    template <class TextOf>
    std::string line(long row, const TextOf& textOf) const
    {
        std::string line;
        for (std::size_t i = 0; i < widths_.size(); ++i) {
            const auto column = static_cast<long>(i);
            line.append(i > 0 ? kGapOfGrid : 0, ' ');
            line += isNumber(row, column) ? terminal::paddedLeft(textOf(column), widths_[i])
                                          : terminal::padded(textOf(column), widths_[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        return line;
    }
    std::string sentenceAboutTheRest() const
    {
        const auto columns = static_cast<long>(widths_.size());
        const std::string ofRows = rows_ < grid_.rows ? fmt::format("{} of {} rows", rows_, grid_.rows) : "";
        const std::string ofColumns =
            columns < grid_.columns ? fmt::format("{} of {} columns", columns, grid_.columns) : "";
        if (ofRows.empty() && ofColumns.empty())
            return {};
        return fmt::format("({}{}{}; --csv writes all.)\n", ofRows,
            ofRows.empty() || ofColumns.empty() ? "" : ", ", ofColumns);
    }

    const Grid& grid_;
    long rows_; // That are shown.
    std::vector<int> widths_; // Of the columns that are shown.
};

std::string timeText(const ShownValue& value)
{
    if (!value.time)
        return {};
    const std::string time = shortText(StorageNumber(*value.time));
    return value.count > 1 ? fmt::format("{} (step {} of 0-{})", time, value.step, value.count - 1) : time;
}

} // namespace

nlohmann::ordered_json jsonOf(const ShownValue& value)
{
    return {{"Name", value.name}, {"Type", value.type},
        {"Time", value.time ? jsonNumber(StorageNumber(*value.time)) : Json()},
        {"Description", value.description}, {"Value", std::visit(kAsJson, value.content)}};
}

bool writeAsCsv(const ShownValue& value)
{
    const Grid grid = std::visit(kAsGrid, value.content);
    std::string text;
    for (std::size_t i = 0; i < grid.headings.size(); ++i)
        text += (i > 0 ? "," : "") + csvField(grid.headings[i]);
    if (!grid.headings.empty())
        text += "\n";
    for (long row = 0; row < grid.rows; ++row) {
        if (row > 0 && grid.rowsOfLayer > 0 && row % grid.rowsOfLayer == 0)
            text += "\n";
        for (long column = 0; column < grid.columns; ++column)
            text += (column > 0 ? "," : "") + csvField(grid.cell(row, column));
        text += "\n";
        if (text.size() >= kBytesOfCsvAtATime && !terminal::write(std::exchange(text, {})))
            return false;
    }
    return terminal::write(text);
}

std::string textOf(const ShownValue& value, terminal::Size screen)
{
    const bool isText = std::holds_alternative<std::string>(value.content);
    const bool isSingle = isText || std::holds_alternative<StorageNumber>(value.content);
    std::string text;
    int lines = 0;
    const auto add = [&](const char* label, const std::string& content) {
        if (content.empty())
            return;
        text +=
            fmt::format("{:<11}  {}\n", label, terminal::fitted(content, std::max(screen.columns - 13, 1)));
        ++lines;
    };
    add("Name", value.name);
    add("Type", value.type);
    add("Time", timeText(value));
    if (isText)
        return text + "\n" + terminal::printable(std::get<std::string>(value.content)) + "\n";
    add("Description", value.description);
    const Grid grid = std::visit(kAsGrid, value.content);
    if (isSingle || grid.rows == 0)
        return text;
    // The head, two empty lines, a heading, and the sentence about the rest.
    screen.rows -= lines + 4;
    return text + "\n" + ScreenOfGrid(grid, screen).text();
}
