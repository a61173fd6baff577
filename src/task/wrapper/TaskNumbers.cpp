#include "task/wrapper/TaskNumbers.h"

#include <fmt/format.h>

#include <charconv>
#include <optional>

namespace {

constexpr int kMostRanges = 20;

std::optional<int> wholeNumber(std::string_view text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size() && number >= 0;
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace

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

platform::Result<std::set<int>> taskNumbers(const std::vector<std::string>& words, int howManyTasks)
{
    std::set<int> numbers;
    for (const std::string& word : words) {
        const auto dash = word.find('-');
        const auto first = wholeNumber(std::string_view(word).substr(0, dash));
        const auto last =
            dash == std::string::npos ? first : wholeNumber(std::string_view(word).substr(dash + 1));
        if (!first || !last || *first > *last)
            return platform::Error{
                fmt::format("\"{}\" is neither the number of a task nor a range such as 3-5.", word)};
        for (const int end : {*first, *last})
            if (end < 1 || end > howManyTasks)
                return platform::Error{howManyTasks == 0
                        ? fmt::format("There is no task {}: the wrapper has no tasks.", end)
                        : fmt::format("There is no task {}: the tasks of this wrapper are 1 to {}.", end,
                            howManyTasks)};
        for (int number = *first; number <= *last; ++number)
            numbers.insert(number);
    }
    return numbers;
}
