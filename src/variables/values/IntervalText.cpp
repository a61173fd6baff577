#include "variables/values/IntervalText.h"

#include "text/numbers/KRNumberFormatter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace variables {

namespace {

constexpr int kFewestDigits = 3;
constexpr int kMostDigits = 15;

int digitsFor(double min, double max)
{
    const double width = max - min;
    if (width == 0 || !std::isfinite(width))
        return kFewestDigits;
    const double digits = std::ceil(-std::log10(std::abs(width) / (std::abs(min) + std::abs(max)))) + 2;
    // A width beside numbers near the largest gives no digits at all.
    return static_cast<int>(std::clamp<double>(digits, kFewestDigits, kMostDigits));
}

} // namespace

std::string intervalText(double min, double max)
{
    const auto formatter = KRNumberFormatter::createWithSignificantDigits(digitsFor(min, max), true);
    return fmt::format("[{},{}]", formatter->convertNumber(min), formatter->convertNumber(max));
}

std::string openIntervalText(double min, double max)
{
    if (std::isfinite(min) && std::isfinite(max))
        return intervalText(min, max);
    const auto formatter = KRNumberFormatter::createWithSignificantDigits(kFewestDigits, true);
    return fmt::format("[{},{}]", std::isfinite(min) ? formatter->convertNumber(min) : "-inf",
        std::isfinite(max) ? formatter->convertNumber(max) : "inf");
}

} // namespace variables
