#include "text/numbers/KRNumberFormatterEngineering.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace {

constexpr int kMostDecimalsOfPrefixed = 15;
constexpr std::string_view kMicro = "{\\micro}";
constexpr std::array<std::string_view, 17> kPrefixes{
    "y", "z", "a", "f", "p", "n", kMicro, "m", "", "k", "M", "G", "T", "P", "E", "Z", "Y"};
constexpr int kFirstPrefix = -24;
constexpr int kLastPrefix = 24;

int multipleOfThree(int exponent)
{
    // 15 more than the exponent of any double needs, so that the division rounds down.
    constexpr int kShift = 339;
    return (exponent + kShift) / 3 * 3 - kShift;
}

// The power of ten that the digits stand before: their leading digit is one of the three before the
// separator.
int exponentBehind(const decimal::Rounded& number)
{
    int count = 0;
    for (std::uint64_t rest = number.digits; rest != 0; rest /= 10)
        ++count;
    return multipleOfThree(number.exponent + std::max(count, 1) - 1);
}

} // namespace

std::shared_ptr<KRNumberFormatterEngineering> KRNumberFormatterEngineering::createWithDigitsAfterDecimal(
    int digits)
{
    return std::shared_ptr<KRNumberFormatterEngineering>(
        new KRNumberFormatterEngineering(std::clamp(digits, 0, kMostDecimalsOfPrefixed)));
}

std::shared_ptr<KRNumberFormatterEngineering> KRNumberFormatterEngineering::formatterForList(
    std::span<const double> list)
{
    auto formatter = createWithDigitsAfterDecimal(0);
    for (const double number : list) {
        const double magnitude = std::fabs(number);
        if (!std::isfinite(number) || number == 0)
            continue;
        auto digits = decimal::significant(magnitude, decimal::kDigitsWithoutNoise);
        while (digits && digits->digits != 0 && digits->digits % 10 == 0) {
            digits->digits /= 10;
            ++digits->exponent;
        }
        if (!digits)
            continue;
        const int exponent = exponentBehind(*digits);
        const int needed = std::max(exponent - digits->exponent, 0);
        formatter->setHowManyDigitsAfterDecimal(std::max(needed, formatter->digitsFor(exponent)), exponent);
    }
    return formatter;
}

void KRNumberFormatterEngineering::setHowManyDigitsAfterDecimal(int digits, int forExponent)
{
    howManyDigitsAfterDecimalDictionary_[forExponent] = std::clamp(digits, 0, kMostDecimalsOfPrefixed);
}

int KRNumberFormatterEngineering::digitsFor(int exponent) const
{
    const auto found = howManyDigitsAfterDecimalDictionary_.find(exponent);
    return found == howManyDigitsAfterDecimalDictionary_.end() ? howManyDigitsAfterDecimal_ : found->second;
}

std::optional<decimal::Rounded> KRNumberFormatterEngineering::rounded(double magnitude) const
{
    const int exponent = multipleOfThree(decimal::exponentOf(magnitude));
    const int digits = digitsFor(exponent);
    const auto number = decimal::scaled(magnitude, digits - exponent);
    if (!number)
        return std::nullopt;
    const decimal::Rounded result{*number, -digits + exponent};
    if (exponentBehind(result) == exponent)
        return result;
    // Rounded up to 1000: a 1 with the next prefix, and with the digits that belong there.
    std::uint64_t one = 1;
    const int next = digitsFor(exponent + 3);
    for (int i = 0; i < next; ++i)
        one *= 10;
    return decimal::Rounded{one, exponent + 3 - next};
}

void KRNumberFormatterEngineering::layOut(const decimal::Rounded& number, std::string& text) const
{
    const int exponent = exponentBehind(number);
    decimal::Text written;
    decimal::addPlain(written, {number.digits, number.exponent - exponent}, decimalSeparator(), false);
    text += written.view();
    if (exponent >= kFirstPrefix && exponent <= kLastPrefix)
        text += kPrefixes[static_cast<std::size_t>((exponent - kFirstPrefix) / 3)];
    else
        text += "e" + std::to_string(exponent);
    text += exponentUnits_;
}

std::size_t KRNumberFormatterEngineering::lengthOfStringFor(double number) const
{
    const std::size_t length = KRNumberFormatterBase::lengthOfStringFor(number);
    const bool isMicro = convertNumber(number).find(kMicro) != std::string::npos;
    return isMicro ? length - kMicro.size() + 1 : length;
}
