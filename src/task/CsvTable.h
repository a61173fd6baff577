#pragma once

#include "platform/Result.h"

#include <string>
#include <string_view>
#include <vector>

// A table of comma-separated values (RFC 4180) with a line of column names: a value may stand in double
// quotes, and then hold commas, line ends and doubled quotes. Blank lines are left out.
struct CsvTable {
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows; // Each with a value for every column.

    // A sentence with the line when a row has another number of values, when a column has no name or the name
    // of another one, or when a quote isn't closed. Any thread.
    static platform::Result<CsvTable> parse(std::string_view text);
};
