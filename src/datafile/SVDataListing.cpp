#include "datafile/SVDataListing.h"

#include "datafile/SVPrintableText.h"

#include <algorithm>
#include <charconv>

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
    std::string text =
        dashes + "\nContent of \"" + SVPrintable(fileName) + "\" - " + counted + "\n" + dashes + "\n";
    const bool skips = count >= kLongListing && count > firstLines + lastLines;
    for (std::size_t i = 0; i < count; ++i) {
        if (skips && i == firstLines) {
            i = count - lastLines;
            text += "Skipping " + std::to_string(i - firstLines) + " entries\n";
        }
        std::string name = SVPrintable(entries[i].name);
        name.resize(std::max(name.size(), kNameColumns), '.');
        text += name + show(entries[i].name) + "\n";
    }
    return text;
}

std::string SVDataListing::ValueOfString(const std::string& text)
{
    if (text.size() <= kLongestStringShown)
        return std::string(1, '"').append(SVPrintable(text)).append(1, '"');
    std::size_t shown = kLongestStringShown;
    while (shown > 0 && (static_cast<unsigned char>(text[shown]) & 0xc0) == 0x80)
        --shown; // Not in the middle of a UTF-8 character.
    std::string value(1, '"');
    value.append(SVPrintable(text.substr(0, shown))).append("...\" - ");
    return value.append(std::to_string(text.size())).append(" characters");
}

std::string SVDataListing::NumberText(double number, bool isInteger)
{
    char digits[32];
    char* const end = digits + sizeof digits;
    const auto result = isInteger ? std::to_chars(digits, end, static_cast<long long>(number))
                                  : std::to_chars(digits, end, number, std::chars_format::general, 6);
    return {digits, result.ptr};
}

std::string SVDataListing::ValueOfArray(long m, long n, long o, const std::string& number)
{
    if (m <= 0 || n <= 0 || o <= 0)
        return "Empty";
    if (m == 1 && n == 1 && o == 1)
        return number;
    const std::string size = std::to_string(m);
    if (n == 1 && o == 1)
        return size + " numbers";
    if (o == 1)
        return size + " x " + std::to_string(n) + " array";
    return size + " x " + std::to_string(n) + " x " + std::to_string(o) + " array";
}
