#include "datafile/SVDataListing.h"

#include <algorithm>

namespace {
constexpr std::size_t kLongListing = 400;
constexpr std::size_t kNameColumns = 30;
constexpr std::size_t kLongestStringShown = 25;
constexpr std::size_t kDashes = 72;
} // namespace

std::string SVDataListing::Text()
{
    std::stable_sort(
        lines.begin(), lines.end(), [](const Line& a, const Line& b) { return a.location < b.location; });
    const std::string dashes(kDashes, '-');
    const std::string count = lines.empty() ? "empty"
        : lines.size() == 1                 ? oneEntry
                                            : std::to_string(lines.size()) + " entries";
    std::string text = dashes + "\nContent of \"" + fileName + "\" - " + count + "\n" + dashes + "\n";
    const bool isLong = lines.size() >= kLongListing;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (isLong && i == firstLines) {
            const std::size_t next = lines.size() - lastLines;
            if (next > i)
                text.append("Skipping ").append(std::to_string(next - i)).append(" entries\n");
            i = next;
        }
        std::string name = lines[i].name;
        name.resize(std::max(name.size(), kNameColumns), '.');
        text += name + lines[i].label + lines[i].value + "\n";
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

std::string SVDataListing::ValueOfArray(long m, long n, long o, const std::string& number)
{
    if (m <= 0 || n <= 0 || o <= 0)
        return "Empty";
    const std::string size = std::to_string(m);
    if (m == 1 && n == 1 && o == 1)
        return number;
    if (n == 1 && o == 1)
        return size + " numbers";
    if (o == 1)
        return size + " x " + std::to_string(n) + " array";
    return size + " x " + std::to_string(n) + " x " + std::to_string(o) + " array";
}
