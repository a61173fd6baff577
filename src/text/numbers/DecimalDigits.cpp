#include "text/numbers/DecimalDigits.h"

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

// With this range no power that a double needs is out of reach, so that one factor is always enough.
static_assert(std::numeric_limits<long double>::max_exponent10 > 351);

constexpr int kStep = 27; // The largest power of ten that a mantissa of 64 bits holds exactly.
constexpr int kLargest = 13 * kStep;

// Each power is a literal times an exact power, so that it carries at most two roundings.
constexpr auto kPowers = [] {
    constexpr std::array<long double, 27> anchors{1e-351L, 1e-324L, 1e-297L, 1e-270L, 1e-243L, 1e-216L,
        1e-189L, 1e-162L, 1e-135L, 1e-108L, 1e-81L, 1e-54L, 1e-27L, 1e0L, 1e27L, 1e54L, 1e81L, 1e108L, 1e135L,
        1e162L, 1e189L, 1e216L, 1e243L, 1e270L, 1e297L, 1e324L, 1e351L};
    std::array<long double, 2 * kLargest + 1> powers{};
    for (std::size_t i = 0; i < powers.size(); ++i) {
        long double power = anchors[i / kStep];
        long double factor = 1;
        for (std::size_t k = 0; k < i % kStep; ++k)
            factor *= 10;
        powers[i] = power * factor;
    }
    return powers;
}();

long double powerOfTen(int power)
{
    return kPowers[static_cast<std::size_t>(std::clamp(power, -kLargest, kLargest) + kLargest)];
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
    // 1233 / 4096 is nearly log10(2): the guess is right or one off, and the table settles which.
    constexpr int kBias = 1023;
    constexpr int kSubnormal = -324;
    const int binary = static_cast<int>(std::bit_cast<std::uint64_t>(magnitude) >> 52 & 0x7ff);
    int exponent = binary == 0 ? kSubnormal : (binary - kBias) * 1233 >> 12;
    while (magnitude >= powerOfTen(exponent + 1))
        ++exponent;
    while (magnitude < powerOfTen(exponent))
        --exponent;
    return exponent;
}

std::optional<std::uint64_t> scaled(double magnitude, int power)
{
    constexpr long double kLimit = 9223372036854775808.0L;
    // Division by an exact power rounds once, where the product with its inverse would round twice.
    const bool isExact = power < 0 && power >= -kStep;
    const long double product = isExact ? static_cast<long double>(magnitude) / powerOfTen(-power)
                                        : static_cast<long double>(magnitude) * powerOfTen(power);
    if (!(product < kLimit))
        return std::nullopt;
    const auto whole = static_cast<std::int64_t>(product);
    const bool roundsUp = product - static_cast<long double>(whole) >= 0.5L;
    if (roundsUp && whole == std::numeric_limits<std::int64_t>::max())
        return std::nullopt;
    return static_cast<std::uint64_t>(whole) + (roundsUp ? 1 : 0);
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
