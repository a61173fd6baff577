#pragma once

#include "platform/plist/Value.h"
#include "toolkit/Table.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a data file in a run folder holds, as the tables show it. An entry without anything stands for a file
// that is no data file, so that it isn't looked at twice.
struct SVFileContent {
    // From a variable's name to its description, a dictionary with "Type" and "TimeValues".
    platform::Value content;
    // The names of the variables, sorted without regard to case; nothing for a file that was not scanned.
    std::optional<std::vector<std::string>> names;
    // Reads a single number of the file. Empty when the file could not be opened.
    std::function<std::optional<double>(const std::string& name)> readNumber;

    // A cell of the table of variables: for "Type" the type, for "Information" the number of time values or a
    // single number itself, for any other column the name. Empty beyond the last name.
    std::string cell(std::string_view column, std::size_t row) const;

    // The columns of that table.
    static std::vector<toolkit::Column> columns();

    // Whether a file is a data file by its extension, in whatever case.
    static bool isDataFile(const std::string& name);
    // What the file at a path holds; without names when it is no data file by its extension.
    static SVFileContent ofFile(const std::string& path);

    // Scans the file at a path. The layer that knows variables sets it at start-up; until then a data file
    // shows none.
    using Scanner = std::function<SVFileContent(const std::string& path)>;
    static Scanner& scanner();
};
