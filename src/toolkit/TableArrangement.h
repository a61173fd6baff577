#pragma once

#include "toolkit/Menu.h"

#include <functional>
#include <string>
#include <vector>

namespace toolkit {

class Table;

// The column that the rows are sorted by; empty for the order of the source.
struct Sorting {
    std::string column{};
    bool isDescending = false;
    bool operator==(const Sorting&) const = default;
};

// How the user has arranged the columns of a table.
struct TableArrangement {
    struct Place {
        std::string column{};
        int width = 0; // Pixels; 0 for the usual width.
        bool isHidden = false;
        bool operator==(const Place&) const = default;
    };
    std::vector<Place> places; // From left to right.
    Sorting sorting{};
    bool operator==(const TableArrangement&) const = default;

    Place* find(std::string_view column); // Null when there is none.
};

// Menus for the columns of a table, for people who use no mouse. The table is asked for each time, because it
// may be gone, or be another one, when the menu is used; null is an empty menu.
using TableLookup = std::function<Table*()>;
std::shared_ptr<Menu> columnsMenu(TableLookup); // Shows and hides columns.
std::shared_ptr<Menu> columnOrderMenu(TableLookup); // Moves a column to the front.
std::shared_ptr<Menu> sortingMenu(TableLookup); // Sorts by a column, as a click on its title does.

} // namespace toolkit
