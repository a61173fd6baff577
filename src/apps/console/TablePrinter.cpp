#include "apps/console/TablePrinter.h"

#include "apps/console/Terminal.h"
#include "apps/console/TerminalText.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cassert>
#include <numeric>
#include <utility>

namespace {

using toolkit::Column;

constexpr int kGap = 2;
constexpr int kNarrowest = 4;
constexpr std::size_t kBytesAtATime = std::size_t{64} << 10;

// A bar is printed as a number.
bool alignsRight(const Column& column)
{
    return column.alignment == Column::Alignment::Right || column.cell == Column::Cell::Progress;
}

std::string textOf(const nlohmann::ordered_json& json, int indentation)
{
    // Invalid UTF-8 is replaced, so that the JSON is valid.
    return json.dump(indentation, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

} // namespace

TablePrinter::TablePrinter(const toolkit::Table& table, const std::vector<std::string>& columns)
    : table_(table)
{
    if (columns.empty())
        columns_ = table.columns();
    for (const std::string& identifier : columns) {
        const Column* column = table.column(identifier);
        assert(column && "a table shows its own columns");
        if (column)
            columns_.push_back(*column);
    }
}

std::vector<int> TablePrinter::rows() const
{
    if (rows_)
        return *rows_;
    std::vector<int> all(static_cast<std::size_t>(table_.numberOfRows()));
    std::iota(all.begin(), all.end(), 0);
    return all;
}

std::string TablePrinter::cell(const Column& column, int row) const
{
    const toolkit::CellValue value = table_.value(column.identifier, row);
    const auto* number = std::get_if<double>(&value);
    return column.cell == Column::Cell::Progress && number ? fmt::format("{:.0f}%", *number)
                                                           : toolkit::cellText(value);
}

std::vector<int> TablePrinter::widths(int mostColumns) const
{
    const std::vector<int> shownRows = rows();
    std::vector<int> widths;
    for (const Column& column : columns_) {
        int width = terminal::columnsOf(column.identifier);
        for (const int row : shownRows)
            width = std::max(width, terminal::columnsOf(cell(column, row)));
        widths.push_back(width);
    }
    // Narrows the widest column until the line fits.
    const int gaps = kGap * (static_cast<int>(widths.size()) - 1);
    while (mostColumns > 0 && std::accumulate(widths.begin(), widths.end(), gaps) > mostColumns) {
        int& widest = *std::max_element(widths.begin(), widths.end());
        if (widest <= kNarrowest)
            break;
        --widest;
    }
    return widths;
}

template <class TextOf>
std::string TablePrinter::line(const std::vector<int>& widths, const TextOf& textOf) const
{
    std::string shown;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const bool last = i + 1 == columns_.size();
        const std::string content = textOf(columns_[i]);
        shown += alignsRight(columns_[i]) ? terminal::paddedLeft(content, widths[i])
            : last                        ? terminal::fitted(content, widths[i])
                                          : terminal::padded(content, widths[i]);
        if (!last)
            shown.append(kGap, ' ');
    }
    while (shown.ends_with(' '))
        shown.pop_back();
    return shown;
}

std::string TablePrinter::lines(const std::vector<int>& rows, int mostColumns) const
{
    const auto columnWidths = widths(mostColumns);
    std::string text;
    for (const int row : rows)
        text += line(columnWidths, [&](const Column& column) { return cell(column, row); }) + "\n";
    return text;
}

std::string TablePrinter::text(int mostColumns) const
{
    const auto heading = line(widths(mostColumns), [](const Column& column) { return column.identifier; });
    return terminal::Output::standard().colored(terminal::Output::Color::Bold, heading) + "\n"
        + lines(rows(), mostColumns);
}

nlohmann::ordered_json TablePrinter::json() const
{
    auto json = nlohmann::ordered_json::array();
    for (const int row : rows()) {
        auto object = nlohmann::ordered_json::object();
        for (const Column& column : columns_) {
            const toolkit::CellValue value = table_.value(column.identifier, row);
            if (const auto* number = std::get_if<double>(&value))
                object[column.identifier] = *number;
            else
                object[column.identifier] = toolkit::cellText(value);
        }
        json.push_back(std::move(object));
    }
    return json;
}

bool JsonRowWriter::add(const nlohmann::ordered_json& row)
{
    unwritten_ += (hasRows_ ? ",\n  " : "\n  ") + textOf(row, -1);
    hasRows_ = true;
    return unwritten_.size() < kBytesAtATime || terminal::write(std::exchange(unwritten_, {}));
}

bool JsonRowWriter::finish()
{
    return terminal::write(std::exchange(unwritten_, {}) + (hasRows_ ? "\n]\n" : "]\n"));
}

bool writeJson(const nlohmann::ordered_json& json)
{
    return terminal::write(textOf(json, 2) + "\n");
}
