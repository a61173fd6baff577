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
    std::string oneEntry; // "1 entry" in the words of the format.
    std::size_t firstLines = 0; // How many lines of a long listing are written,
    std::size_t lastLines = 0; // and how many at its end.
    std::vector<Entry> entries;

    // `show` gives the label and the value of a variable. It is asked for those alone that are listed: the
    // rest of a long file isn't read.
    std::string Text(const std::function<std::string(const std::string& name)>& show);

    // What a listing shows of a string, and of an array by its dimensions or its single number. Control
    // characters are escaped.
    static std::string ValueOfString(const std::string& text);
    static std::string ValueOfArray(long m, long n, long o, const std::string& number);
    // A number as a listing shows it: an integer whole, another one with six digits, in the C locale.
    static std::string NumberText(double number, bool isInteger);
};
