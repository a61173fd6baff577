#include "datafile/SVDataListing.h"

#include <algorithm>
#include <cstdio>

namespace {
constexpr std::size_t kLongListing = 400;
constexpr std::size_t kNameColumns = 30;
constexpr std::size_t kLongestStringShown = 25;
constexpr std::size_t kDashes = 72;
} // namespace

std::string SVDataListing::Text(const std::function<std::string(const std::string& name)>& show)
{
    std::stable_sort(entries.begin(), entries.end(),
        [](const Entry& a, const Entry& b) { return a.location < b.location; });
    const std::string dashes(kDashes, '-');
    const std::size_t count = entries.size();
    const std::string counted = count == 0 ? "empty"
        : count == 1                       ? oneEntry
                                           : std::to_string(count) + " entries";
    std::string text = dashes + "\nContent of \"" + fileName + "\" - " + counted + "\n" + dashes + "\n";
    const bool skips = count >= kLongListing && count > firstLines + lastLines;
    for (std::size_t i = 0; i < count; ++i) {
        if (skips && i == firstLines) {
            i = count - lastLines;
            text += "Skipping " + std::to_string(i - firstLines) + " entries\n";
        }
        std::string name = entries[i].name;
        name.resize(std::max(name.size(), kNameColumns), '.');
        text += name + show(entries[i].name) + "\n";
    }
    return text;
}

std::string SVDataListing::ValueOfString(const std::string& text)
{
    if (text.size() <= kLongestStringShown)
        return std::string(1, '"').append(text).append(1, '"');
    std::string value(1, '"');
    value.append(text, 0, kLongestStringShown).append("...\" - ");
    return value.append(std::to_string(text.size())).append(" characters");
}

std::string SVDataListing::ValueOfArray(long m, long n, long o, double number)
{
    if (m <= 0 || n <= 0 || o <= 0)
        return "Empty";
    if (m == 1 && n == 1 && o == 1) {
        char digits[32];
        std::snprintf(digits, sizeof digits, "%g", number);
        return digits;
    }
    const std::string size = std::to_string(m);
    if (n == 1 && o == 1)
        return size + " numbers";
    if (o == 1)
        return size + " x " + std::to_string(n) + " array";
    return size + " x " + std::to_string(n) + " x " + std::to_string(o) + " array";
}
