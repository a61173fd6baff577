#include "toolkit/ColumnMenus.h"

#include <algorithm>

namespace toolkit {

namespace {

using Fill = void (*)(Menu&, Table&, const TableLookup&);

// The table is looked up again when an item is chosen.
MenuItem itemFor(const Column& column, const TableLookup& lookup, void (*perform)(Table&, const std::string&))
{
    return {.title = column.title,
        .action = "arrangeColumns:",
        .perform = [lookup, perform, identifier = column.identifier](const MenuItem&) {
            if (Table* table = lookup(); table && table->column(identifier))
                perform(*table, identifier);
        }};
}

std::shared_ptr<Menu> makeMenu(const char* title, TableLookup lookup, Fill fill)
{
    auto menu = std::make_shared<Menu>(title);
    menu->needsUpdate = [lookup = std::move(lookup), fill](Menu& shown) {
        while (shown.count() > 0)
            shown.remove(shown.count() - 1);
        if (Table* table = lookup())
            fill(shown, *table, lookup);
    };
    return menu;
}

void fillColumns(Menu& menu, Table& table, const TableLookup& lookup)
{
    for (const Column& column : table.columns()) {
        MenuItem item = itemFor(column, lookup, [](Table& shown, const std::string& identifier) {
            shown.hideColumn(identifier, !shown.isColumnHidden(identifier));
        });
        item.isChecked = !table.isColumnHidden(column.identifier);
        menu.add(std::move(item));
    }
    menu.add(MenuItem::separator());
    menu.add({.title = "Usual Columns", .action = "arrangeColumns:", .perform = [lookup](const MenuItem&) {
                  if (Table* shown = lookup())
                      shown->arrange({});
              }});
}

void fillOrder(Menu& menu, Table& table, const TableLookup& lookup)
{
    for (const auto& place : table.arrangement().places)
        menu.add(itemFor(*table.column(place.column), lookup,
            [](Table& shown, const std::string& identifier) { shown.moveColumn(identifier, 0); }));
}

void fillSorting(Menu& menu, Table& table, const TableLookup& lookup)
{
    const Sorting& sorting = table.arrangement().sorting;
    for (const auto& place : table.arrangement().places) {
        MenuItem item = itemFor(*table.column(place.column), lookup,
            [](Table& shown, const std::string& identifier) { shown.sortBy(identifier); });
        item.isChecked = place.column == sorting.column;
        if (item.isChecked)
            item.title += sorting.isDescending ? " (descending)" : " (ascending)";
        menu.add(std::move(item));
    }
}

} // namespace

std::shared_ptr<Menu> columnsMenu(TableLookup lookup)
{
    return makeMenu("Columns", std::move(lookup), fillColumns);
}

std::shared_ptr<Menu> columnOrderMenu(TableLookup lookup)
{
    return makeMenu("First Column", std::move(lookup), fillOrder);
}

std::shared_ptr<Menu> sortingMenu(TableLookup lookup)
{
    return makeMenu("Sort By", std::move(lookup), fillSorting);
}

} // namespace toolkit
