#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// The listing that printInfo() of a data file writes to the standard error stream.
struct SVDataListing {
    struct Entry {
        long long location = 0; // The lines are sorted by it.
        std::string name;
    };

    std::string fileName;
    std::string oneEntry; // How the format writes "1 entry".
    std::size_t firstLines = 0; // How many lines of a long listing are written,
    std::size_t lastLines = 0; // and how many at its end.
    std::vector<Entry> entries;

    // `show` gives the label and the value of a variable. It is called only for the listed ones: the rest of
    // a long file isn't read.
    std::string Text(const std::function<std::string(const std::string& name)>& show);

    // How a listing shows a string, and an array by its dimensions or its single number. Control characters
    // are escaped.
    static std::string ValueOfString(const std::string& text);
    static std::string ValueOfArray(long m, long n, long o, const std::string& number);
    // A number as a listing shows it: integers with all digits, others with six, in the C locale.
    static std::string NumberText(double number, bool isInteger);
};
