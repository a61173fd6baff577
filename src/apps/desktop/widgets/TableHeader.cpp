#include "apps/desktop/widgets/TableHeader.h"

#include "apps/desktop/widgets/MenuWidget.h"
#include "toolkit/ColumnMenus.h"

#include <QContextMenuEvent>
#include <QScopedValueRollback>
#include <algorithm>

namespace {

constexpr int kNumberColumns = 12; // Widths in characters.
constexpr int kTextColumns = 20;

using Place = toolkit::TableArrangement::Place;

// The column that grows with the table: one of bars, else the first one of words. One with a width that the
// user chose keeps it.
std::string columnThatGrows(const toolkit::Table& table)
{
    const auto& places = table.arrangement().places;
    const auto firstOf = [&](auto isWanted) {
        const auto found = std::find_if(places.begin(), places.end(), [&](const Place& place) {
            return !place.isHidden && place.width == 0 && isWanted(*table.column(place.column));
        });
        return found == places.end() ? std::string() : found->column;
    };
    const std::string bar =
        firstOf([](const toolkit::Column& column) { return column.cell == toolkit::Column::Cell::Progress; });
    return !bar.empty() ? bar : firstOf([](const toolkit::Column& column) {
        return column.alignment == toolkit::Column::Alignment::Left;
    });
}

} // namespace

TableHeader::TableHeader(toolkit::Table& table, QWidget* parent)
    : QHeaderView(Qt::Horizontal, parent), table_(&table)
{
    setSectionsMovable(true);
    setSectionsClickable(true);
    setHighlightSections(false);
    connect(this, &QHeaderView::sectionMoved, this, [this] { reportOrder(); });
    connect(this, &QHeaderView::sectionResized, this,
        [this](int section, int, int width) { reportWidth(section, width); });
    connect(this, &QHeaderView::sectionClicked, this, [this](int section) {
        if (table_)
            table_->sortBy(columns_[static_cast<std::size_t>(section)].identifier);
    });
}

int TableHeader::sectionOf(std::string_view column) const
{
    const auto found = std::find_if(columns_.begin(), columns_.end(),
        [column](const toolkit::Column& known) { return known.identifier == column; });
    return static_cast<int>(found - columns_.begin());
}

void TableHeader::follow()
{
    const int sections = count();
    if (!table_ || sections != static_cast<int>(table_->columns().size()))
        return; // New columns are announced first.
    const QScopedValueRollback following(isFollowing_, true);
    columns_ = table_->columns();
    shown_ = table_->arrangement();
    const int character = fontMetrics().averageCharWidth();
    const std::string growing = columnThatGrows(*table_);
    for (int place = 0; place < sections; ++place) {
        const Place& wanted = shown_.places[static_cast<std::size_t>(place)];
        const int section = sectionOf(wanted.column);
        const bool isNumber =
            columns_[static_cast<std::size_t>(section)].alignment == toolkit::Column::Alignment::Right;
        moveSection(visualIndex(section), place);
        setSectionHidden(section, wanted.isHidden);
        setSectionResizeMode(section, wanted.column == growing ? Stretch : Interactive);
        resizeSection(section,
            wanted.width > 0 ? wanted.width : character * (isNumber ? kNumberColumns : kTextColumns));
    }
    const bool isSorted = !shown_.sorting.column.empty() && table_->whenSorted;
    setSortIndicatorShown(isSorted);
    if (isSorted)
        setSortIndicator(sectionOf(shown_.sorting.column),
            shown_.sorting.isDescending ? Qt::DescendingOrder : Qt::AscendingOrder);
}

void TableHeader::reportOrder()
{
    if (!table_ || isFollowing_)
        return;
    auto arrangement = table_->arrangement();
    std::stable_sort(
        arrangement.places.begin(), arrangement.places.end(), [this](const Place& left, const Place& right) {
            return visualIndex(sectionOf(left.column)) < visualIndex(sectionOf(right.column));
        });
    table_->arrange(std::move(arrangement));
}

void TableHeader::reportWidth(int section, int width)
{
    // A column that grows takes what is left; that is no choice of the user's.
    if (!table_ || isFollowing_ || width == 0 || sectionResizeMode(section) != Interactive)
        return;
    auto arrangement = table_->arrangement();
    if (auto* place = arrangement.find(columns_[static_cast<std::size_t>(section)].identifier)) {
        place->width = width;
        table_->arrange(std::move(arrangement));
    }
}

void TableHeader::contextMenuEvent(QContextMenuEvent* event)
{
    if (!table_)
        return;
    auto* menu = new MenuWidget(toolkit::columnsMenu([this] { return table_; }), this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}
