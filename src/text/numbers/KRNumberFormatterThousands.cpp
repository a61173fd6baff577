#include "text/numbers/KRNumberFormatterThousands.h"

#include <algorithm>
#include <cmath>

std::shared_ptr<KRNumberFormatterThousands> KRNumberFormatterThousands::create(
    Type type, int numberOfDigits, bool useThousandsSeparator)
{
    const int digits = std::clamp(numberOfDigits, type == Type::Decimals ? 0 : 1, decimal::kMostDigits);
    return std::shared_ptr<KRNumberFormatterThousands>(
        new KRNumberFormatterThousands(type, digits, useThousandsSeparator));
}

std::shared_ptr<KRNumberFormatterThousands> KRNumberFormatterThousands::formatterForList(
    std::span<const double> list, Type type)
{
    int needed = 0;
    double largest = 0;
    for (const double number : list) {
        if (!std::isfinite(number) || number == 0)
            continue;
        auto digits = decimal::significant(std::fabs(number), decimal::kDigitsWithoutNoise);
        if (!digits)
            continue;
        largest = std::max(largest, std::fabs(number));
        int significant = decimal::kDigitsWithoutNoise;
        for (; significant > 1 && digits->digits % 10 == 0; --significant) {
            digits->digits /= 10;
            ++digits->exponent;
        }
        needed = std::max(needed, type == Type::Decimals ? -digits->exponent : significant);
    }
    return create(type, type == Type::Decimals ? std::min(needed, decimal::mostDecimals(largest)) : needed);
}

std::optional<decimal::Rounded> KRNumberFormatterThousands::rounded(double magnitude) const
{
    if (type_ == Type::SignificantDigits)
        return decimal::significant(magnitude, numberOfDigits_);
    const auto digits = decimal::scaled(magnitude, numberOfDigits_);
    if (!digits)
        return std::nullopt;
    return decimal::Rounded{*digits, -numberOfDigits_};
}

void KRNumberFormatterThousands::layOut(const decimal::Rounded& number, std::string& text) const
{
    // Zeros before the separator are put in here: there may be hundreds of them.
    const int zeros = std::max(number.exponent, 0);
    std::string written;
    decimal::Rounded rest = number;
    rest.exponent -= zeros;
    if (-rest.exponent > decimal::kMostDigits) { // A tiny number: no groups before its separator.
        written = "0";
        written += decimalSeparator();
        const std::string digits = std::to_string(number.digits);
        written.append(static_cast<std::size_t>(-rest.exponent) - digits.size(), '0');
        text += written + digits;
        return;
    }
    decimal::Text plain;
    decimal::addPlain(plain, rest, decimalSeparator(), false);
    written = plain.view();
    written.append(static_cast<std::size_t>(zeros), '0');
    if (useThousandsSeparator_) {
        const std::size_t whole = std::min(written.find(decimalSeparator()), written.size());
        for (std::size_t place = whole; place > 3; place -= 3)
            written.insert(place - 3, 1, thousandsSeparator());
    }
    text += written;
}

void KRNumberFormatterThousands::appendZero(std::string& text) const
{
    text += '0';
    if (type_ == Type::Decimals && numberOfDigits_ > 0) {
        text += decimalSeparator();
        text.append(static_cast<std::size_t>(numberOfDigits_), '0');
    }
}
