#include "platform/plist/PropertyListTexts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

namespace platform::propertylist {

namespace {

constexpr std::string_view kXmlBlanks = " \t\r\n";

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(kXmlBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kXmlBlanks) - first + 1);
}

template <typename Number, typename... Form>
std::optional<Number> wholeText(std::string_view text, Form... form)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, form...);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<int, 256> base64Values()
{
    std::array<int, 256> values{};
    values.fill(-1);
    for (std::size_t index = 0; index < kBase64.size(); ++index)
        values[static_cast<unsigned char>(kBase64[index])] = static_cast<int>(index);
    return values;
}

} // namespace

std::optional<Value> integerFromText(std::string_view text)
{
    text = trimmed(text);
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal)
        text.remove_prefix(2);
    const auto magnitude = wholeText<std::uint64_t>(text, isHexadecimal ? 16 : 10);
    constexpr std::uint64_t kBeyond = std::uint64_t{1} << 63;
    if (!magnitude || (isNegative && *magnitude > kBeyond))
        return std::nullopt;
    if (isNegative) // Unsigned subtraction, so that the least integer is right too.
        return Value(static_cast<std::int64_t>(0 - *magnitude));
    if (*magnitude >= kBeyond)
        return Value(static_cast<double>(*magnitude));
    return Value(static_cast<std::int64_t>(*magnitude));
}

std::optional<Value> realFromText(std::string_view text)
{
    text = trimmed(text);
    if (text.starts_with('+'))
        text.remove_prefix(1);
    if (text.starts_with('+') || text.starts_with("-+"))
        return std::nullopt;
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end != text.data() + text.size() || text.empty())
        return std::nullopt;
    if (error == std::errc::result_out_of_range) {
        // Out of range. std::from_chars doesn't say in which direction; strtod does, in the C locale.
        static const locale_t plain = ::newlocale(LC_NUMERIC_MASK, "C", nullptr);
        const std::string terminated(text);
        number = plain ? ::strtod_l(terminated.c_str(), nullptr, plain) : 0;
    } else if (error != std::errc()) {
        return std::nullopt;
    }
    return Value(number);
}

std::optional<Value> dateFromText(std::string_view text)
{
    using namespace std::chrono;
    // YYYY-MM-DDThh:mm:ssZ
    text = trimmed(text);
    constexpr std::string_view kShape = "0000-00-00T00:00:00Z";
    if (text.size() != kShape.size())
        return std::nullopt;
    for (std::size_t index = 0; index < kShape.size(); ++index) {
        const bool isDigit = text[index] >= '0' && text[index] <= '9';
        if (kShape[index] == '0' ? !isDigit : text[index] != kShape[index])
            return std::nullopt;
    }
    const auto number = [&](std::size_t place, std::size_t length) {
        return *wholeText<int>(text.substr(place, length));
    };
    const year_month_day day(year(number(0, 4)), month(static_cast<unsigned>(number(5, 2))),
        std::chrono::day(static_cast<unsigned>(number(8, 2))));
    const int hour = number(11, 2);
    const int minute = number(14, 2);
    const int second = number(17, 2);
    if (!day.ok() || hour > 23 || minute > 59 || second > 60) // 60 for a leap second.
        return std::nullopt;
    const auto days = sys_days(day).time_since_epoch().count();
    return Value(Value::Date{static_cast<double>(days) * 86400 + hour * 3600 + minute * 60 + second});
}

std::optional<Value> dataFromText(std::string_view text)
{
    static constexpr auto kValues = base64Values();
    Value::Data bytes;
    unsigned bits = 0;
    int held = 0;
    bool padded = false;
    for (const char letter : text) {
        if (kXmlBlanks.find(letter) != std::string_view::npos)
            continue;
        const int value = kValues[static_cast<unsigned char>(letter)];
        if (letter == '=') {
            padded = true;
            continue;
        }
        if (value < 0 || padded)
            return std::nullopt;
        bits = (bits << 6 | static_cast<unsigned>(value)) & 0xFFFF;
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes.push_back(static_cast<std::uint8_t>(bits >> held));
        }
    }
    if (held >= 6) // A lone digit at the end is incomplete.
        return std::nullopt;
    return Value(std::move(bytes));
}

std::string realToText(double number)
{
    if (std::isnan(number))
        return "nan";
    if (std::isinf(number))
        return number > 0 ? "+infinity" : "-infinity";
    return fmt::format("{}", number); // The shortest text that reads back as the same number.
}

std::string dateToText(Value::Date date)
{
    using namespace std::chrono;
    constexpr double kFirst = -62135596800.0; // 0001-01-01.
    constexpr double kLast = 253402300799.0; // The last second of 9999.
    const double told = std::isnan(date.secondsSince1970) ? 0 : date.secondsSince1970;
    const sys_seconds moment{seconds(static_cast<std::int64_t>(std::floor(std::clamp(told, kFirst, kLast))))};
    const auto midnight = floor<days>(moment);
    const year_month_day day(midnight);
    const hh_mm_ss time(moment - midnight);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(day.year()),
        static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()), time.hours().count(),
        time.minutes().count(), time.seconds().count());
}

std::string dataToText(const Value::Data& bytes)
{
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t index = 0; index < bytes.size(); index += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - index);
        unsigned bits = 0;
        for (std::size_t byte = 0; byte < 3; ++byte)
            bits = bits << 8 | (byte < count ? bytes[index + byte] : 0U);
        for (std::size_t digit = 0; digit < 4; ++digit)
            text += digit <= count ? kBase64[bits >> (18 - 6 * digit) & 0x3F] : '=';
    }
    return text;
}

} // namespace platform::propertylist
