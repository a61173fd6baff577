#include "text/numbers/DecimalDigits.h"

#include "text/numbers/PowersOfTen.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

namespace decimal {
namespace {

constexpr std::uint64_t kLowHalf = ~std::uint64_t{0};

// A number above 0 as mantissa * 2^(exponent - 63), with the mantissa's highest bit set.
struct Binary {
    explicit Binary(double magnitude)
    {
        constexpr int kBias = 1023;
        const auto bits = std::bit_cast<std::uint64_t>(magnitude);
        const auto stored = static_cast<int>(bits >> 52 & 0x7ff);
        const std::uint64_t fraction = bits << 12 >> 1;
        if (stored != 0) [[likely]] {
            mantissa = fraction | std::uint64_t{1} << 63;
            exponent = stored - kBias;
            return;
        }
        const int zeros = std::countl_zero(fraction);
        mantissa = fraction << zeros;
        exponent = 1 - kBias - zeros;
    }

    std::uint64_t mantissa = 0;
    int exponent = 0;
};

// magnitude * 10^power, which must be below 2^63, by all of its decimal digits.
std::uint64_t scaledByDigits(double magnitude, int power)
{
    constexpr int kLongestFraction = 767;
    std::array<char, kLongestFraction + 16> text{};
    const char* const end = std::to_chars(
        text.data(), text.data() + text.size(), magnitude, std::chars_format::scientific, kLongestFraction)
                                .ptr;
    const std::string_view written(text.data(), static_cast<std::size_t>(end - text.data()));
    const std::size_t mark = written.find('e');
    int exponent = 0;
    const std::size_t sign = written[mark + 1] == '+' ? 1 : 0; // from_chars takes no plus.
    std::from_chars(written.data() + mark + 1 + sign, end, exponent);
    const int kept = exponent + power + 1; // Digits before the separator of the result.
    std::uint64_t number = 0;
    int place = 0;
    for (const char digit : written.substr(0, mark)) {
        if (digit == '.')
            continue;
        if (place++ == kept)
            return number + (digit >= '5' ? 1 : 0);
        number = number * 10 + static_cast<std::uint64_t>(digit - '0');
    }
    return number;
}

constexpr auto kPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

// Decimal digits, written from the back of a buffer.
struct Digits {
    explicit Digits(std::uint64_t number)
    {
        while (number >= 100) {
            begin -= 2;
            std::memcpy(begin, &kPairs[2 * (number % 100)], 2);
            number /= 100;
        }
        if (number >= 10) {
            begin -= 2;
            std::memcpy(begin, &kPairs[2 * number], 2);
        } else {
            *--begin = static_cast<char>('0' + number);
        }
    }
    Digits(const Digits&) = delete;
    Digits& operator=(const Digits&) = delete;
    std::string_view view() const
    {
        return {begin, static_cast<std::size_t>(bytes.data() + bytes.size() - begin)};
    }

    std::array<char, 20> bytes;
    char* begin = bytes.data() + bytes.size();
};

void removeZerosAtEnd(Text& text, char separator)
{
    while (text.last() == '0')
        text.removeLast();
    if (text.last() == separator)
        text.removeLast();
}

} // namespace

double Rounded::value() const
{
    const std::string text = std::to_string(digits) + "e" + std::to_string(exponent);
    double number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec == std::errc::result_out_of_range)
        return exponent > 0 ? std::numeric_limits<double>::infinity() : 0;
    return number;
}

int exponentOf(double magnitude)
{
    const Binary number(magnitude);
    const int guess = decimalExponentOfTwo(number.exponent); // That, or one more.
    const Wide next = leadingBitsOfTen(guess + 1) + (isExact(guess + 1) ? 0 : 1);
    const bool reachesNext =
        number.exponent == binaryExponentOfTen(guess + 1) && Wide{number.mantissa} << 64 >= next;
    return guess + (reachesNext ? 1 : 0);
}

// The product with the power cut to 128 bits is too small by less than one in its bit 64. So its higher bits
// tell how to round, unless they are one short of half.
std::optional<std::uint64_t> scaled(double magnitude, int power)
{
    const Binary number(magnitude);
    power = std::clamp(power, kLowestPower, kHighestPower);
    const int binary = number.exponent + binaryExponentOfTen(power); // Of the result, or one less.
    constexpr int kBits = 63;
    if (binary >= kBits)
        return std::nullopt;
    if (binary < -2)
        return 0;
    const Wide factor = leadingBitsOfTen(power);
    const Wide low = Wide{number.mantissa} * (factor & kLowHalf);
    const Wide product = Wide{number.mantissa} * (factor >> 64) + (low >> 64);
    const int fraction = 126 - binary; // Bits of the product behind the separator.
    const Wide twice = product >> (fraction - 1);
    const Wide behind = (Wide{1} << (fraction - 1)) - 1;
    if ((product & behind) == behind && (twice & 1) == 0 && !isExact(power)) [[unlikely]]
        return scaledByDigits(magnitude, power);
    const Wide rounded = (twice + 1) >> 1;
    if (rounded >> kBits != 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(rounded);
}

int mostDecimals(double magnitude)
{
    const int digitsBefore = magnitude >= 1 ? exponentOf(magnitude) + 1 : 0;
    return std::max(kMostDigits - digitsBefore, 0);
}

std::optional<Rounded> significant(double magnitude, int digits)
{
    return significant(magnitude, digits, exponentOf(magnitude));
}

std::optional<Rounded> significant(double magnitude, int digits, int exponent)
{
    static constexpr auto kIntegers = [] {
        std::array<std::uint64_t, 20> powers{1};
        for (std::size_t i = 1; i < powers.size(); ++i)
            powers[i] = powers[i - 1] * 10;
        return powers;
    }();
    int ofLastDigit = exponent - digits + 1;
    auto number = scaled(magnitude, -ofLastDigit);
    if (!number)
        return std::nullopt;
    if (digits < static_cast<int>(kIntegers.size())
        && *number >= kIntegers[static_cast<std::size_t>(digits)]) {
        *number /= 10;
        ++ofLastDigit;
    }
    return Rounded{*number, ofLastDigit};
}

void Text::add(std::string_view text)
{
    text = text.substr(0, bytes_.size() - size_);
    std::memcpy(bytes_.data() + size_, text.data(), text.size());
    size_ += text.size();
}

void Text::addZeros(int count)
{
    for (int i = 0; i < count; ++i)
        add('0');
}

void Text::addInteger(std::uint64_t number)
{
    add(Digits(number).view());
}

void addPlain(Text& text, const Rounded& number, char separator, bool removeTrailingZeros)
{
    const Digits written(number.digits);
    const std::string_view digits = written.view();
    if (number.exponent >= 0) {
        text.add(digits);
        text.addZeros(number.exponent);
        return;
    }
    const int point = static_cast<int>(digits.size()) + number.exponent;
    if (point <= 0) {
        text.add('0');
        text.add(separator);
        text.addZeros(-point);
        text.add(digits);
    } else {
        text.add(digits.substr(0, static_cast<std::size_t>(point)));
        text.add(separator);
        text.add(digits.substr(static_cast<std::size_t>(point)));
    }
    if (removeTrailingZeros)
        removeZerosAtEnd(text, separator);
}

int addMantissa(Text& text, const Rounded& number, char separator, bool removeTrailingZeros)
{
    const Digits written(number.digits);
    const std::string_view digits = written.view();
    text.add(digits.front());
    if (digits.size() > 1) {
        text.add(separator);
        text.add(digits.substr(1));
        if (removeTrailingZeros)
            removeZerosAtEnd(text, separator);
    }
    return number.exponent + static_cast<int>(digits.size()) - 1;
}

void addExponent(Text& text, int exponent, std::string_view minus)
{
    if (exponent == 0)
        return;
    text.add('e');
    if (exponent < 0)
        text.add(minus);
    text.addInteger(static_cast<std::uint64_t>(std::abs(exponent)));
}

void addNumber(Text& text, double number)
{
    constexpr int kDigits = 15;
    if (std::isnan(number)) {
        text.add("NaN");
        return;
    }
    if (number == 0) {
        text.add('0');
        return;
    }
    if (number < 0)
        text.add('-');
    const double magnitude = std::fabs(number);
    if (std::isinf(magnitude)) {
        text.add("∞");
        return;
    }
    const int exponent = exponentOf(magnitude);
    const auto digits = significant(magnitude, kDigits, exponent); // 15 digits always fit.
    if (exponent > -5 && exponent < 5)
        addPlain(text, *digits, '.', true);
    else
        addExponent(text, addMantissa(text, *digits, '.', true), "-");
}

} // namespace decimal
