#include "text/numbers/KRNumberFormatter.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>

namespace {

// A time in whole units of its last place, so that a round-up carries into seconds and minutes.
struct RoundedTime {
    bool isNegative = false;
    std::int64_t seconds = 0;
    std::int64_t fraction = 0; // In units of 10^-places.
    int places = 0;

    std::string fractionText() const
    {
        return fraction == 0 ? std::string() : fmt::format(".{:0{}}", fraction, places);
    }
};

std::int64_t unitsOf(int places)
{
    std::int64_t units = 1;
    for (int i = 0; i < places; ++i)
        units *= 10;
    return units;
}

bool fitsSeconds(double seconds)
{
    return std::fabs(seconds) < 9.2e18;
}

// The fraction counts upwards from the second below, as a date needs it, unless the caller takes magnitudes.
RoundedTime roundedTime(double seconds, int places)
{
    const double whole = std::floor(seconds);
    RoundedTime time{false, static_cast<std::int64_t>(whole), 0, places};
    time.fraction = std::llround((seconds - whole) * static_cast<double>(unitsOf(places)));
    if (time.fraction == unitsOf(places)) {
        ++time.seconds;
        time.fraction = 0;
    }
    return time;
}

// The words for what has no digits: empty for all other times.
std::string specialTime(std::optional<double> seconds, const char* minusInfinity)
{
    if (!seconds)
        return "Not a date";
    if (std::isnan(*seconds))
        return "NAN";
    if (std::isinf(*seconds))
        return *seconds > 0 ? "∞" : minusInfinity;
    return fitsSeconds(*seconds) ? "" : "Not a date";
}

RoundedTime roundedDuration(double seconds, int places)
{
    RoundedTime time = roundedTime(std::fabs(seconds), places);
    time.isNegative = seconds < 0 && (time.seconds > 0 || time.fraction > 0);
    return time;
}

std::string yearText(int year)
{
    if (year < 0)
        return fmt::format("{}BC", -year);
    if (year < 100)
        return fmt::format("00{}", year);
    return fmt::format("{:04}", year);
}

} // namespace

std::string KRNumberFormatter::convertToMinuteSeconds(std::optional<double> seconds)
{
    std::string text = specialTime(seconds, "\u2212∞");
    if (!text.empty())
        return text;
    const RoundedTime time = roundedDuration(*seconds, 6);
    return fmt::format("{}{}:{:02}{}", time.isNegative ? "-" : "", time.seconds / 60, time.seconds % 60,
        time.fractionText());
}

std::string KRNumberFormatter::convertToHourMinuteSeconds(std::optional<double> seconds)
{
    std::string text = specialTime(seconds, "\u2212∞");
    if (!text.empty())
        return text;
    const RoundedTime time = roundedDuration(*seconds, 3);
    return fmt::format("{}{}:{:02}:{:02}{}", time.isNegative ? "-" : "", time.seconds / 3600,
        time.seconds / 60 % 60, time.seconds % 60, time.fractionText());
}

std::string KRNumberFormatter::convertFromDate(std::optional<double> seconds)
{
    std::string text = specialTime(seconds, "-∞");
    if (!text.empty())
        return text;
    const RoundedTime time = roundedTime(*seconds, 3);
    const std::chrono::sys_seconds moment{std::chrono::seconds(time.seconds)};
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    constexpr std::chrono::sys_days kFirst = std::chrono::year(-32767) / 1 / 1;
    constexpr std::chrono::sys_days kLast = std::chrono::year(32767) / 12 / 31;
    if (moment < kFirst || moment >= kLast + std::chrono::days(1))
        return "Not a date";
    const std::chrono::year_month_day date(day);
    const auto ofDay = (moment - day).count();
    text = fmt::format("{}:{}:{}", yearText(static_cast<int>(date.year())),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    if (ofDay == 0 && time.fraction == 0)
        return text;
    text += fmt::format(":{:02}:{:02}", ofDay / 3600, ofDay / 60 % 60);
    if (ofDay % 60 != 0 || time.fraction != 0)
        text += fmt::format(":{:02}{}", ofDay % 60, time.fractionText());
    return text;
}

namespace {

double snapped(double seconds, double scale, double shift, double (*round)(double))
{
    if (!(scale > 0) || !std::isfinite(scale))
        return seconds;
    return round((seconds - shift) / scale) * scale + shift;
}

} // namespace

double KRNumberFormatter::snapToNiceDateValue(double seconds, double scale, double shift)
{
    return snapped(seconds, scale, shift, std::round);
}

double KRNumberFormatter::snapDownToNiceDateValue(double seconds, double scale, double shift)
{
    return snapped(seconds, scale, shift, std::floor);
}

double KRNumberFormatter::snapUpToNiceDateValue(double seconds, double scale, double shift)
{
    return snapped(seconds, scale, shift, std::ceil);
}
