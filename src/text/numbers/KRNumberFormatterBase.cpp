#include "text/numbers/KRNumberFormatterBase.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/Utf8.h"

#include <fmt/printf.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr std::string_view kUnicodeMinus = "\u2212";

std::size_t characterCount(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(),
        [](char byte) { return (static_cast<unsigned char>(byte) & 0xc0) != 0x80; }));
}

} // namespace

std::string KRNumberFormatterBase::convertNumber(double number) const
{
    std::string text;
    appendNumber(number, text);
    return text;
}

void KRNumberFormatterBase::appendNumber(double number, std::string& text) const
{
    const std::size_t before = text.size();
    appendAny(number, text);
    const bool isAscii = ((decimalSeparator_ | thousandsSeparator_) & 0x80) == 0;
    if (isAscii || !platform::utf8::firstInvalidByte(std::string_view(text).substr(before)))
        return;
    KRMessageCenter::seriousErrorMessage(fmt::sprintf("Invalid number - %g", number));
    text.resize(before);
}

void KRNumberFormatterBase::appendAny(double number, std::string& text) const
{
    if (std::isnan(number)) {
        text += "NaN";
        return;
    }
    if (number == 0) {
        appendZero(text);
        return;
    }
    const std::size_t before = text.size();
    if (number < 0)
        text += useUnicodeMinus_ ? kUnicodeMinus : "-";
    if (std::isinf(number)) {
        text += "∞";
        return;
    }
    if (const auto digits = rounded(std::fabs(number))) {
        layOut(*digits, text);
        return;
    }
    text.resize(before);
    text += "Error";
}

std::size_t KRNumberFormatterBase::lengthOfStringFor(double number) const
{
    return characterCount(convertNumber(number));
}

double KRNumberFormatterBase::valueAfterConversion(double number) const
{
    if (!std::isfinite(number) || number == 0)
        return number;
    const auto digits = rounded(std::fabs(number));
    return digits ? std::copysign(digits->value(), number) : number;
}

void KRNumberFormatterBase::layOutScientific(
    const decimal::Rounded& number, bool removeTrailingZeros, std::string& text) const
{
    decimal::Text written;
    const int exponent = decimal::addMantissa(written, number, decimalSeparator_, removeTrailingZeros);
    if (exponent != 0 && useFancyExponent_) {
        if (written.view() == "1")
            written.removeLast();
        else
            written.add("×");
        addFancyExponent(written, exponent);
    } else {
        decimal::addExponent(written, exponent, useUnicodeMinus_ ? kUnicodeMinus : "-");
    }
    text += written.view();
}

void KRNumberFormatterBase::addFancyExponent(decimal::Text& text, int exponent) const
{
    static constexpr std::array<std::string_view, 10> kSuperscripts{
        "\u2070", "\u00b9", "\u00b2", "\u00b3", "\u2074", "\u2075", "\u2076", "\u2077", "\u2078", "\u2079"};
    const auto magnitude = static_cast<std::uint64_t>(std::abs(exponent));
    text.add("10");
    if (!fancyExponentUsesUnicode_) {
        text.add("^{");
        if (exponent < 0)
            text.add(useUnicodeMinus_ ? kUnicodeMinus : "-");
        text.addInteger(magnitude);
        text.add('}');
        return;
    }
    if (exponent < 0)
        text.add("\u207b");
    decimal::Text digits;
    digits.addInteger(magnitude);
    for (const char digit : digits.view())
        text.add(kSuperscripts[static_cast<std::size_t>(digit - '0')]);
}
