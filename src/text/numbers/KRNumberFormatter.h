#pragma once

#include "text/numbers/KRNumberFormatterBase.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

// The general formatter: a count of significant digits, a count of digits behind the decimal separator, or
// always an exponent. The class functions write numbers, counts, sizes and times in fixed forms. Any thread,
// as long as nobody changes the formatter.
class KRNumberFormatter : public KRNumberFormatterBase {
public:
    enum class FormatType { SignificantDigits = 0, Fixed = 1, Scientific = 2 };

    // 1 to 18 digits; counts outside are moved to the nearest. Without the flag trailing zeros stay.
    static std::shared_ptr<KRNumberFormatter> createWithSignificantDigits(int digits);
    static std::shared_ptr<KRNumberFormatter> createWithSignificantDigits(
        int digits, bool removeTrailingZeros);
    // 0 to 18 digits behind the separator, for magnitudes between 1e-9 and 1e8. Others are written with at
    // least six significant digits.
    static std::shared_ptr<KRNumberFormatter> createWithFixedDigitsAfterDecimal(int digits);
    // 1 to 18 significant digits, always with an exponent unless that is 0.
    static std::shared_ptr<KRNumberFormatter> createWithScientificNotationDigits(int digits);
    // Enough digits to write this number.
    static std::shared_ptr<KRNumberFormatter> createBasedOn(double number);
    // Enough fixed digits, 2 to 15, to tell two neighbouring pixels of an axis apart.
    static std::shared_ptr<KRNumberFormatter> createBasedOnMinValue(
        double minValue, double maxValue, double distanceInPixels);
    // The digits that the numbers of an axis need after each has been multiplied by the scale: fixed ones, or
    // significant ones when some number is written with an exponent. Numbers that aren't finite don't count.
    static std::shared_ptr<KRNumberFormatter> formatterForList(
        std::span<const double> list, double afterScaleBy = 1);

    FormatType formatType() const { return formatType_; }
    int significantDigits() const { return significantDigits_; }
    int howManyDigitsAfterDecimal() const { return howManyDigitsAfterDecimal_; }
    bool removesTrailingZeros() const { return removeTrailingZeros_; }
    // Numbers from 10^(exponent + 1) on are written with an exponent; 5 unless set.
    int exponentAfter() const { return exponentAfter_; }
    void setExponentAfter(int exponent) { exponentAfter_ = exponent; }

    // 15 significant digits, trailing zeros removed, with exponents from 1e16 on.
    static std::string convert(double number);
    // Four significant digits, trailing zeros removed.
    static std::string shortDouble(double number);

    // A size in bytes in decimal units: "Empty", "1 byte", "999B", "12K", "1.5MB", "20GB". Large numbers are
    // grouped as the user's locale groups them.
    static std::string sizeString(std::uint64_t bytes);
    // A count with the digit groups of the user's locale.
    static std::string convertToLocalizedCount(std::int64_t count);

    // A time of so many seconds as "12:05" (minutes), or "1:12:05" (hours), and behind that a fraction that
    // isn't 0, with 6 or 3 places: "12:05.250000". Infinities are "∞" and "−∞", NaN is "NAN"; null, and a
    // time beyond 64 bits, is "Not a date".
    static std::string convertToMinuteSeconds(std::optional<double> seconds);
    static std::string convertToHourMinuteSeconds(std::optional<double> seconds);
    // Seconds since 1970-01-01 00:00 UTC as "2001:2:28", with the time of day where it isn't 0:
    // "2001:2:28:14:05", "2001:2:28:14:05:30.250". Years below 0 are written as "44BC:3:15". Infinities are
    // "∞" and "-∞", NaN is "NAN"; null, and a year beyond 32767, is "Not a date".
    static std::string convertFromDate(std::optional<double> seconds);
    // The multiple of the scale, counted from the shift, that is nearest to the time, or next below or above.
    // A scale that isn't finite and above 0 changes nothing.
    static double snapToNiceDateValue(double seconds, double scale, double shift);
    static double snapDownToNiceDateValue(double seconds, double scale, double shift);
    static double snapUpToNiceDateValue(double seconds, double scale, double shift);

protected:
    std::optional<decimal::Rounded> rounded(double magnitude) const override;
    void layOut(const decimal::Rounded& number, std::string& text) const override;

private:
    KRNumberFormatter(FormatType type, int significantDigits, int digitsAfterDecimal, bool removeTrails);

    FormatType formatType_;
    int significantDigits_;
    int howManyDigitsAfterDecimal_;
    bool removeTrailingZeros_;
    int exponentAfter_ = 5;
};
