#include "text/numbers/KRNumberFormatterScientific.h"

#include <algorithm>

namespace {
constexpr int kMostDecimals = 19; // No number has digits beyond 63 bits and still fits.
}

std::shared_ptr<KRNumberFormatterScientific> KRNumberFormatterScientific::createWithDigitsAfterDecimal(
    int digits, bool removeTrailingZeros)
{
    return std::shared_ptr<KRNumberFormatterScientific>(
        new KRNumberFormatterScientific(std::clamp(digits, 0, kMostDecimals), removeTrailingZeros));
}

std::optional<decimal::Rounded> KRNumberFormatterScientific::rounded(double magnitude) const
{
    return decimal::significant(magnitude, howManyDigitsAfterDecimal_ + 1);
}

void KRNumberFormatterScientific::layOut(const decimal::Rounded& number, std::string& text) const
{
    layOutScientific(number, removeTrailingZeros_, text);
}
