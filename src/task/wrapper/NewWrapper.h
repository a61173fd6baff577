#pragma once

#include "platform/Result.h"

#include <optional>
#include <string>
#include <vector>

// Makes a task wrapper around a program, with one run for each row of a table, or a single run without a
// table. "{column}" in the arguments and in the input files is replaced by the row's value of that column.
// The column "Time" gives the run's time value. Nothing is overwritten: the wrapper is made under a temporary
// name and moved into place when it is complete. docs/wrapper-format.md describes the format.
struct NewWrapper {
    std::string path; // Path of the new wrapper; ends in ".vtask".
    std::string program;
    std::vector<std::string> inputs; // Each run gets a copy of these files.
    std::string arguments; // Shell text that follows the program's path.
    std::optional<std::string> table; // Path of a file of comma-separated values.
    std::optional<std::string>
        project; // A folder "*.xcodeproj" from which the program can be built elsewhere.

    // Returns the number of runs. On failure returns a sentence for the user and leaves nothing behind.
    platform::Result<int> make() const;
};

// Fills in the arguments of one row. The program receives each value unchanged: outside of quotes a value
// with shell characters is quoted, inside of quotes they are escaped.
platform::Result<std::string> argumentsForRow(const std::string& arguments,
    const std::vector<std::string>& columns, const std::vector<std::string>& row);
