#pragma once

#include "platform/Result.h"

#include <optional>
#include <string>
#include <vector>

// Makes a task wrapper around a program: one run for each row of a table, or a single one without a table.
// "{column}" in the arguments and in the input files stands for the row's value of that column, and the
// column "Time" gives the run's place on the time axis. Nothing that exists is written over: the wrapper is
// made whole under another name and then moved into place. docs/wrapper-format.md tells the form.
struct NewWrapper {
    std::string path; // Of the wrapper; its name ends in ".vtask".
    std::string program;
    std::vector<std::string> inputs; // Files that each run gets a copy of.
    std::string arguments; // Shell text.
    std::optional<std::string> table; // A file of comma-separated values.
    std::optional<std::string>
        project; // A folder "*.xcodeproj" from which the program can be built elsewhere.

    // The number of runs; a sentence when the wrapper can't be made, of which nothing is left then.
    platform::Result<int> make() const;
};

// The arguments with the row's values. What a value holds reaches the program as it is: outside of quotes a
// value with characters that mean something to the shell is put into quotes, inside of quotes they are
// escaped.
platform::Result<std::string> argumentsForRow(const std::string& arguments,
    const std::vector<std::string>& columns, const std::vector<std::string>& row);
