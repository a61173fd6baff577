#include "arrays/containers/KRNumberText.h"

#include "datafile/SVCLocale.h"

#include <cstdlib>
#include <fast_float/fast_float.h>
#include <limits>
#include <string>
#include <system_error>

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

char lowered(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isHexDigit(char c)
{
    return isDigit(c) || (lowered(c) >= 'a' && lowered(c) <= 'f');
}

bool isWordCharacter(char c)
{
    return isDigit(c) || (lowered(c) >= 'a' && lowered(c) <= 'z') || c == '_';
}

// A place in a text, which never moves past the end.
class Scan {
public:
    Scan(const char* text, const char* end) : place_(text), end_(end) { }
    const char* place() const { return place_; }

    bool take(char lowerCase)
    {
        if (place_ == end_ || lowered(*place_) != lowerCase)
            return false;
        ++place_;
        return true;
    }
    bool takeSign() { return take('-') || take('+'); }
    // All of the word, or nothing.
    bool takeWord(const char* word)
    {
        const char* const before = place_;
        for (; *word; ++word)
            if (!take(*word)) {
                place_ = before;
                return false;
            }
        return true;
    }
    // How many characters of the kind there are.
    template <class Kind>
    long takeAll(Kind isOfKind)
    {
        const char* const before = place_;
        while (place_ != end_ && isOfKind(*place_))
            ++place_;
        return place_ - before;
    }

private:
    const char* place_;
    const char* end_;
};

// Where a number ends that isn't written in decimals; null if there is none. Copied for the C library, the
// text must hold nothing behind it: it may be as long as the file.
const char* endOfRareNumber(const char* text, const char* end)
{
    Scan scan(text, end);
    scan.takeSign();
    if (scan.takeWord("inf")) {
        scan.takeWord("inity");
        return scan.place();
    }
    if (scan.takeWord("nan")) {
        Scan payload = scan;
        if (payload.take('('))
            payload.takeAll(isWordCharacter);
        return payload.take(')') ? payload.place() : scan.place();
    }
    if (!scan.takeWord("0x"))
        return nullptr;
    scan.takeAll(isHexDigit);
    if (scan.take('.'))
        scan.takeAll(isHexDigit);
    if (scan.take('p')) {
        scan.takeSign();
        scan.takeAll(isDigit);
    }
    return scan.place();
}

double convert(const char* text, char** end, double)
{
    return std::strtod(text, end);
}

float convert(const char* text, char** end, float)
{
    return std::strtof(text, end);
}

// Infinities, numbers that are none, and hexadecimal ones.
template <class T>
[[gnu::cold]] KRNumberInText<T> readRareNumber(const char* text, const char* end)
{
    const char* const rareEnd = endOfRareNumber(text, end);
    if (!rareEnd)
        return {};
    const SVCLocale locale;
    const std::string copy(text, rareEnd);
    char* converted = nullptr;
    const T value = convert(copy.c_str(), &converted, T());
    if (converted == copy.c_str())
        return {};
    return {value, text + (converted - copy.c_str())};
}

// As strtod and strtof.
template <class T>
KRNumberInText<T> readReal(const char* text, const char* end)
{
    const char* digits = text;
    if (digits != end && (*digits == '+' || *digits == '-'))
        ++digits;
    if (digits == end)
        return {};
    const bool isHex = *digits == '0' && end - digits > 1 && lowered(digits[1]) == 'x';
    if (isHex || (!isDigit(*digits) && *digits != '.'))
        return readRareNumber<T>(text, end);
    KRNumberInText<T> number;
    // It doesn't take a plus.
    const auto read = fast_float::from_chars(*text == '+' ? digits : text, end, number.value);
    if (read.ec != std::errc::invalid_argument) // Out of range: the value is the one that strtod gives.
        number.end = read.ptr;
    return number;
}

// As %d, which reads a long and keeps its lower half.
KRNumberInText<std::int32_t> readInteger(const char* text, const char* end)
{
    Scan scan(text, end);
    const bool isNegative = scan.take('-');
    if (!isNegative)
        scan.take('+');
    const char* const digits = scan.place();
    if (scan.takeAll(isDigit) == 0)
        return {};
    long value = 0; // Counted downwards if negative: that reaches further.
    for (const char* digit = digits; digit != scan.place(); ++digit) {
        const long unit = isNegative ? '0' - *digit : *digit - '0';
        if (__builtin_mul_overflow(value, 10L, &value) || __builtin_add_overflow(value, unit, &value)) {
            value = isNegative ? std::numeric_limits<long>::min() : std::numeric_limits<long>::max();
            break;
        }
    }
    return {static_cast<std::int32_t>(value), scan.place()};
}

} // namespace

template <>
KRNumberInText<double> KRReadNumber(const char* text, const char* end)
{
    return readReal<double>(text, end);
}

template <>
KRNumberInText<float> KRReadNumber(const char* text, const char* end)
{
    return readReal<float>(text, end);
}

template <>
KRNumberInText<std::int32_t> KRReadNumber(const char* text, const char* end)
{
    return readInteger(text, end);
}
