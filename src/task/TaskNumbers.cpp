#include "task/TaskNumbers.h"

#include <fmt/format.h>

namespace {
constexpr int kMostRanges = 20;
}

std::string numberRanges(const std::vector<int>& numbers)
{
    std::string text;
    int ranges = 0;
    for (std::size_t first = 0; first < numbers.size(); ++ranges) {
        if (ranges == kMostRanges)
            return text + fmt::format(" and {} more", numbers.size() - first);
        std::size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1)
            ++last;
        text += fmt::format("{}{}", text.empty() ? "" : ", ", numbers[first]);
        if (last > first)
            text += fmt::format("-{}", numbers[last]);
        first = last + 1;
    }
    return text;
}
