#pragma once

#include "platform/plist/Value.h"
#include "toolkit/Table.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The content of a data file in a run folder, as the tables show it. An empty entry marks a file that is no
// data file, so that it is examined only once.
struct SVFileContent {
    // Dictionary from a variable's name to its description, a dictionary with "Type" and "TimeValues".
    platform::Value content;
    // The names of the variables, sorted without regard to case; nothing when the file was not scanned.
    std::optional<std::vector<std::string>> names;
    // Reads a single number of the file. Null when the file could not be opened.
    std::function<std::optional<double>(const std::string& name)> readNumber;

    // A cell of the table of variables. The column "Type" shows the type, "Information" the number of time
    // values or a single number itself, and any other column the name. Empty beyond the last name.
    std::string cell(std::string_view column, std::size_t row) const;

    // The columns of that table.
    static std::vector<toolkit::Column> columns();

    // Whether a name has the extension of a data file, in upper or lower case.
    static bool isDataFile(const std::string& name);
    // Scans the file at a path; without names when its extension is not that of a data file.
    static SVFileContent ofFile(const std::string& path);

    // Scans a data file. The layer of the variables sets it at start-up; until then data files show no
    // variables.
    using Scanner = std::function<SVFileContent(const std::string& path)>;
    static Scanner& scanner();
};
