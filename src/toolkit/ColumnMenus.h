#pragma once

#include "toolkit/Table.h"

#include <functional>
#include <memory>

namespace toolkit {

// Menus for the columns of a table, for people who use no mouse. The table is asked for each time, because it
// may be gone, or be another one, when the menu is used; null is an empty menu.
using TableLookup = std::function<Table*()>;
std::shared_ptr<Menu> columnsMenu(TableLookup); // Shows and hides columns.
std::shared_ptr<Menu> columnOrderMenu(TableLookup); // Moves a column to the front.
std::shared_ptr<Menu> sortingMenu(TableLookup); // Sorts by a column, as a click on its title does.

} // namespace toolkit
