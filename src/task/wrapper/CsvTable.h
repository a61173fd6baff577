#pragma once

#include "platform/Result.h"

#include <string>
#include <string_view>
#include <vector>

// A table of comma-separated values (RFC 4180) whose first line holds the column names. A value in double
// quotes may contain commas, line ends and doubled quotes. Blank lines are skipped.
struct CsvTable {
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows; // Each with a value for every column.

    // Fails with a sentence that names the line when a row has the wrong number of values, when a column has
    // no name or a name that is used twice, or when a quote isn't closed. Any thread.
    static platform::Result<CsvTable> parse(std::string_view text);
};
