#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace toolkit {

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

    Place* find(std::string_view column) // Null when there is none.
    {
        const auto found = std::find_if(
            places.begin(), places.end(), [&](const Place& place) { return place.column == column; });
        return found == places.end() ? nullptr : &*found;
    }
};

} // namespace toolkit
