#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The listing that printInfo() of a data file writes to the standard error stream.
struct SVDataListing {
    struct Line {
        long long location = 0; // The lines are sorted by it.
        std::string name;
        std::string label;
        std::string value;
    };

    std::string fileName;
    std::string oneEntry; // "1 entry" in the words of the format.
    std::size_t firstLines = 0; // How many lines of a long listing are written,
    std::size_t lastLines = 0; // and how many at its end.
    std::vector<Line> lines;

    std::string Text();

    // What a listing shows of a string, and of an array by its dimensions; `number` is the text of a single
    // element.
    static std::string ValueOfString(const std::string& text);
    static std::string ValueOfArray(long m, long n, long o, const std::string& number);
};
