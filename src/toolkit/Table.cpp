#include "toolkit/Table.h"

#include <fmt/format.h>

#include <algorithm>

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

void Table::noteNumberOfRowsChanged()
{
    rowCount_ = source_ ? std::max(0, source_->numberOfRowsInTableView(*this)) : 0;
    // The document grows and shrinks with its rows; what is visible of it is the enclosing view's matter.
    frame.height = rowCount_ * rowHeight;
    std::set<int> kept(selection_.begin(), selection_.lower_bound(rowCount_));
    const bool lost = kept.size() != selection_.size();
    selection_ = std::move(kept);
    if (lost && delegate_)
        delegate_->tableViewSelectionDidChange(*this);
    if (whenChanged)
        whenChanged();
}

void Table::reloadData()
{
    ++timesReloaded_;
    needsDisplay = true;
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

void Table::selectRows(const std::set<int>& rows)
{
    std::set<int> wanted(rows.lower_bound(0), rows.lower_bound(rowCount_));
    if (wanted == selection_)
        return;
    selection_ = std::move(wanted);
    if (delegate_)
        delegate_->tableViewSelectionDidChange(*this);
    if (whenChanged)
        whenChanged();
}

int Table::selectedRow() const
{
    return selection_.empty() ? -1 : *selection_.rbegin();
}

void Table::scrollRowToVisible(int row)
{
    lastRowScrolledTo_ = row;
    View* clip = superview();
    if (!clip)
        return;
    const double top = row * rowHeight;
    const double bottom = top + rowHeight;
    if (top < clip->bounds.y)
        clip->bounds.y = top;
    else if (bottom > clip->bounds.top())
        clip->bounds.y = bottom - clip->bounds.height;
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
