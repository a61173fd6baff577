#pragma once

#include "toolkit/PlotContent.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// What a plot shows of one variable of a data file.
struct PlottedValue {
    // Which of the values, and which part of it.
    struct Choice {
        std::optional<std::size_t> step{}; // The last one by default; one beyond the end counts as the last.
        std::size_t slice = 0; // Of an array with three dimensions; one beyond the end counts as the last.
        std::size_t member = 0; // Of a group, the same.
    };

    toolkit::PlotContent content; // Its curves have no names, but those of a table's columns.
    toolkit::Numbers times; // To choose a step from; null where all are shown at once.
    std::size_t step = 0;
    std::size_t slices = 0; // To choose from; 0 without.
    std::size_t slice = 0;
    std::vector<std::string> members{}; // Of a group, to choose from; those of groups in it as well.
    std::size_t member = 0;
    std::optional<double> number; // Of a variable that is a single number.
};
