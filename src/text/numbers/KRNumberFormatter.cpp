#include "text/numbers/KRNumberFormatter.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kDigitsOutsideOfFixed = 6;

int heldDigits(int digits)
{
    return std::clamp(digits, 1, decimal::kMostDigits);
}

int heldDecimals(int digits)
{
    return std::clamp(digits, 0, decimal::kMostDigits);
}

// What the text of one number needs.
struct Need {
    int digitsBehindPoint = 0;
    int significantDigits = 1;
    bool hasExponent = false;

    explicit Need(std::string_view text)
    {
        const std::size_t exponent = text.find('e');
        hasExponent = exponent != std::string_view::npos;
        const std::string_view mantissa = text.substr(0, exponent);
        const std::size_t point = mantissa.find('.');
        if (point != std::string_view::npos)
            digitsBehindPoint = static_cast<int>(mantissa.size() - point - 1);
        std::string digits;
        std::copy_if(mantissa.begin(), mantissa.end(), std::back_inserter(digits),
            [](char byte) { return byte >= '0' && byte <= '9'; });
        const std::size_t leading = std::min(digits.find_first_not_of('0'), digits.size());
        significantDigits = static_cast<int>(digits.size() - leading);
    }
};

} // namespace

KRNumberFormatter::KRNumberFormatter(
    FormatType type, int significantDigits, int digitsAfterDecimal, bool removeTrails)
    : formatType_(type), significantDigits_(heldDigits(significantDigits)),
      howManyDigitsAfterDecimal_(heldDecimals(digitsAfterDecimal)), removeTrailingZeros_(removeTrails)
{ }

std::shared_ptr<KRNumberFormatter> KRNumberFormatter::createWithSignificantDigits(int digits)
{
    return createWithSignificantDigits(digits, false);
}

std::shared_ptr<KRNumberFormatter> KRNumberFormatter::createWithSignificantDigits(
    int digits, bool removeTrailingZeros)
{
    const int held = heldDigits(digits);
    return std::shared_ptr<KRNumberFormatter>(
        new KRNumberFormatter(FormatType::SignificantDigits, held, held - 1, removeTrailingZeros));
}

std::shared_ptr<KRNumberFormatter> KRNumberFormatter::createWithFixedDigitsAfterDecimal(int digits)
{
    const int held = heldDecimals(digits);
    return std::shared_ptr<KRNumberFormatter>(
        new KRNumberFormatter(FormatType::Fixed, std::max(held + 1, kDigitsOutsideOfFixed), held, false));
}

std::shared_ptr<KRNumberFormatter> KRNumberFormatter::createWithScientificNotationDigits(int digits)
{
    const int held = heldDigits(digits);
    return std::shared_ptr<KRNumberFormatter>(
        new KRNumberFormatter(FormatType::Scientific, held, held - 1, false));
}

std::shared_ptr<KRNumberFormatter> KRNumberFormatter::createBasedOn(double number)
{
    const double fraction = std::fabs(number) - std::floor(std::fabs(number));
    if (!(fraction >= 1e-10))
        return createWithSignificantDigits(13, true);
    const auto length = static_cast<int>(createWithSignificantDigits(14, true)->lengthOfStringFor(fraction));
    return createWithFixedDigitsAfterDecimal(length == 1 ? 0 : length - 2);
}

std::shared_ptr<KRNumberFormatter> KRNumberFormatter::createBasedOnMinValue(
    double minValue, double maxValue, double distanceInPixels)
{
    constexpr double kFewest = 2;
    constexpr double kMost = 15;
    const double perPixel = std::fabs(maxValue - minValue) / std::fabs(distanceInPixels);
    const double digits = std::ceil(-std::round(std::log10(perPixel)));
    return createWithFixedDigitsAfterDecimal(
        std::isnan(digits) ? 2 : static_cast<int>(std::clamp(digits, kFewest, kMost)));
}

std::shared_ptr<KRNumberFormatter> KRNumberFormatter::formatterForList(
    std::span<const double> list, double afterScaleBy)
{
    static const auto probe = createWithSignificantDigits(decimal::kDigitsWithoutNoise, true);
    int behindPoint = 0;
    int significant = 1;
    bool hasExponent = false;
    double largest = 0;
    for (const double number : list) {
        const double shown = number * afterScaleBy;
        if (!std::isfinite(shown))
            continue;
        largest = std::max(largest, std::fabs(shown));
        const Need need(probe->convertNumber(shown));
        behindPoint = std::max(behindPoint, need.digitsBehindPoint);
        significant = std::max(significant, need.significantDigits);
        hasExponent = hasExponent || need.hasExponent;
    }
    return hasExponent
        ? createWithSignificantDigits(significant, true)
        : createWithFixedDigitsAfterDecimal(std::min(behindPoint, decimal::mostDecimals(largest)));
}

std::string KRNumberFormatter::convert(double number)
{
    static const auto formatter = [] {
        auto made = createWithSignificantDigits(15, true);
        made->setExponentAfter(15);
        return made;
    }();
    return formatter->convertNumber(number);
}

std::string KRNumberFormatter::shortDouble(double number)
{
    static const auto formatter = createWithSignificantDigits(4, true);
    return formatter->convertNumber(number);
}

std::optional<decimal::Rounded> KRNumberFormatter::rounded(double magnitude) const
{
    if (formatType_ == FormatType::Fixed && magnitude > 1e-9 && magnitude < 1e8) {
        const auto digits = decimal::scaled(magnitude, howManyDigitsAfterDecimal_);
        if (!digits)
            return std::nullopt;
        return decimal::Rounded{*digits, -howManyDigitsAfterDecimal_};
    }
    const int exponent = decimal::exponentOf(magnitude);
    const bool isPlain = formatType_ != FormatType::Scientific && exponent > -5 && exponent <= exponentAfter_;
    // Without an exponent all places before the separator are shown.
    const int digits = isPlain ? std::max(significantDigits_, exponent + 1) : significantDigits_;
    auto number = decimal::significant(magnitude, digits, exponent);
    if (number)
        number->isScientific = !isPlain;
    return number;
}

void KRNumberFormatter::layOut(const decimal::Rounded& number, std::string& text) const
{
    if (number.isScientific) {
        layOutScientific(number, removeTrailingZeros_, text);
        return;
    }
    decimal::Text written;
    decimal::addPlain(written, number, decimalSeparator(), removeTrailingZeros_);
    text += written.view();
}
