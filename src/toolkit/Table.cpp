#include "toolkit/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace toolkit {

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
    changed({.structure = true});
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
