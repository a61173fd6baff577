#include "toolkit/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace toolkit {

namespace {

constexpr int kWidestColumn = 10000; // Pixels.

// Each column once. Unknown columns are dropped, missing ones come last.
TableArrangement fitted(TableArrangement wanted, const std::vector<Column>& columns)
{
    TableArrangement result;
    const auto isColumn = [&columns](const std::string& identifier) {
        return std::any_of(columns.begin(), columns.end(),
            [&identifier](const Column& column) { return column.identifier == identifier; });
    };
    for (auto& place : wanted.places) {
        place.width = std::clamp(place.width, 0, kWidestColumn);
        if (isColumn(place.column) && !result.find(place.column))
            result.places.push_back(std::move(place));
    }
    for (const Column& column : columns)
        if (!result.find(column.identifier))
            result.places.push_back({.column = column.identifier, .isHidden = column.isHidden});
    if (isColumn(wanted.sorting.column))
        result.sorting = std::move(wanted.sorting);
    const bool isAnyVisible = std::any_of(
        result.places.begin(), result.places.end(), [](const auto& place) { return !place.isHidden; });
    if (!isAnyVisible && !result.places.empty())
        result.places.front().isHidden = false;
    return result;
}

// A cell is one word of a table of words.
std::string withoutBreaks(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    return text;
}

} // namespace

std::string cellText(const CellValue& value)
{
    if (const auto* text = std::get_if<std::string>(&value))
        return *text;
    if (const auto* number = std::get_if<double>(&value))
        return fmt::format("{:g}", *number);
    return {};
}

void Table::setDataSource(TableDataSource* source)
{
    if (source_ == source)
        return;
    source_ = source;
    reloadData();
}

void Table::setColumns(std::vector<Column> columns)
{
    columns_ = std::move(columns);
    arrangement_ = fitted(std::move(arrangement_), columns_);
    changed({.structure = true});
}

void Table::setArrangement(TableArrangement wanted)
{
    set(arrangement_, fitted(std::move(wanted), columns_));
}

bool Table::isColumnHidden(std::string_view identifier) const
{
    return std::any_of(arrangement_.places.begin(), arrangement_.places.end(),
        [identifier](const auto& place) { return place.column == identifier && place.isHidden; });
}

void Table::arrange(TableArrangement wanted)
{
    const Sorting before = arrangement_.sorting;
    if (!set(arrangement_, fitted(std::move(wanted), columns_)))
        return;
    if (whenArranged)
        whenArranged();
    if (before != arrangement_.sorting && whenSorted)
        whenSorted();
}

void Table::moveColumn(std::string_view identifier, int place)
{
    TableArrangement wanted = arrangement_;
    auto* moved = wanted.find(identifier);
    if (!moved)
        return;
    auto held = std::move(*moved);
    wanted.places.erase(wanted.places.begin() + (moved - wanted.places.data()));
    wanted.places.insert(wanted.places.begin() + std::clamp(place, 0, static_cast<int>(wanted.places.size())),
        std::move(held));
    arrange(std::move(wanted));
}

void Table::hideColumn(std::string_view identifier, bool isHidden)
{
    const auto visible = std::count_if(arrangement_.places.begin(), arrangement_.places.end(),
        [](const auto& place) { return !place.isHidden; });
    TableArrangement wanted = arrangement_;
    auto* place = wanted.find(identifier);
    if (!place || (isHidden && visible == 1))
        return;
    place->isHidden = isHidden;
    arrange(std::move(wanted));
}

void Table::sortBy(const std::string& identifier)
{
    if (!whenSorted)
        return;
    TableArrangement wanted = arrangement_;
    if (wanted.sorting.column != identifier)
        wanted.sorting = {identifier, false};
    else if (!wanted.sorting.isDescending)
        wanted.sorting.isDescending = true;
    else
        wanted.sorting = {};
    arrange(std::move(wanted));
}

const Column* Table::column(std::string_view identifier) const
{
    const auto found = std::find_if(columns_.begin(), columns_.end(),
        [identifier](const Column& column) { return column.identifier == identifier; });
    return found == columns_.end() ? nullptr : &*found;
}

void Table::noteNumberOfRowsChanged()
{
    set(rowCount_, source_ ? std::max(0, source_->numberOfRowsInTableView(*this)) : 0, {.rows = true});
    // The document grows and shrinks with its rows; the enclosing view says what is visible of it.
    Rect document = frame();
    document.height = rowCount_ * rowHeight_;
    setFrame(document);
    selectRows(selection_);
}

void Table::reloadData()
{
    changed({.data = true});
    noteNumberOfRowsChanged();
}

CellValue Table::value(std::string_view column, int row) const
{
    if (!source_ || row < 0 || row >= rowCount_)
        return {};
    return source_->objectValueForTableColumn(*this, column, row);
}

CellStyle Table::styleForDisplay(std::string_view column, int row)
{
    CellStyle style;
    if (delegate_)
        delegate_->willDisplayCell(*this, style, column, row);
    return style;
}

std::shared_ptr<Menu> Table::contextMenu(int row)
{
    return delegate_ ? delegate_->contextMenuForTableRow(*this, row) : nullptr;
}

void Table::selectRows(const std::set<int>& rows)
{
    std::set<int> wanted(rows.lower_bound(0), rows.lower_bound(rowCount_));
    if (set(selection_, std::move(wanted), {.selection = true}) && delegate_)
        delegate_->tableViewSelectionDidChange(*this);
}

int Table::selectedRow() const
{
    return selection_.empty() ? -1 : *selection_.rbegin();
}

std::string Table::selectionAsText() const
{
    std::string text;
    for (const int row : selection_) {
        const char* between = "";
        for (const auto& place : arrangement_.places)
            if (!place.isHidden)
                text += std::exchange(between, "\t") + withoutBreaks(cellText(value(place.column, row)));
        text += '\n';
    }
    return text;
}

void Table::scrollRowToVisible(int row)
{
    View* clip = superview();
    if (!clip)
        return;
    const double top = row * rowHeight_;
    const double bottom = top + rowHeight_;
    Rect visible = clip->bounds();
    if (top < visible.y)
        visible.y = top;
    else if (bottom > visible.top())
        visible.y = bottom - visible.height;
    clip->setBounds(visible);
}

void Table::setVisibleRange(VisibleRange range)
{
    if (View* clip = superview())
        clip->setBounds(
            {clip->bounds().x, range.first * rowHeight_, clip->bounds().width, range.count * rowHeight_});
}

Table::VisibleRange Table::visibleRange() const
{
    const View* clip = superview();
    if (!clip)
        return {0, rowCount_};
    const int first = std::clamp(static_cast<int>(clip->bounds().y / rowHeight_), 0, rowCount_);
    const int end =
        std::clamp(static_cast<int>(std::ceil(clip->bounds().top() / rowHeight_)), first, rowCount_);
    return {first, end - first};
}

void moveSource(TableDataSource& source, Table*& held, Table* next)
{
    if (held == next)
        return;
    if (held && held->dataSource() == &source)
        held->setDataSource(nullptr);
    held = next;
    if (!held)
        return;
    held->setDataSource(&source);
    held->reloadData();
}

} // namespace toolkit
