#include "apps/console/LiveDisplay.h"

#include <fmt/format.h>

#include <algorithm>

namespace {
constexpr const char* kClearToEndOfLine = "\033[K";
constexpr const char* kClearBelow = "\033[J";
} // namespace

// A window that was made narrower has broken the lines on display into several: it is those that have to be
// counted.
std::string LiveDisplay::toTheTop() const
{
    const int width = std::max(1, output_.size().columns);
    int rows = 0;
    for (const int columns : shown_)
        rows += std::max(1, (columns + width - 1) / width);
    return rows > 0 ? fmt::format("\r\033[{}A", rows) : std::string();
}

void LiveDisplay::show(const std::vector<std::string>& lines, const std::vector<int>& columnsOfLines)
{
    std::string frame = toTheTop();
    for (const std::string& line : lines)
        frame += line + kClearToEndOfLine + "\n";
    if (lines.size() < shown_.size())
        frame += kClearBelow;
    terminal::write(frame);
    shown_ = columnsOfLines;
}

void LiveDisplay::clear()
{
    terminal::write(toTheTop() + (shown_.empty() ? "" : kClearBelow));
    shown_.clear();
}

void LiveDisplay::finish()
{
    shown_.clear();
}
