#pragma once

#include "text/numbers/KRNumberFormatterBase.h"

#include <map>
#include <memory>
#include <span>
#include <string>

// Numbers from 1 to 1000 with an SI prefix, such as "1.50k". The prefix for 10^-6 is the markup "{\micro}",
// which the display turns into the sign. Exponents beyond the prefixes are written out: "1.50e27".
class KRNumberFormatterEngineering : public KRNumberFormatterBase {
public:
    // 0 to 15 digits behind the separator.
    static std::shared_ptr<KRNumberFormatterEngineering> createWithDigitsAfterDecimal(int digits);
    // For each prefix the digits that the numbers of the list need there.
    static std::shared_ptr<KRNumberFormatterEngineering> formatterForList(std::span<const double> list);

    int howManyDigitsAfterDecimal() const { return howManyDigitsAfterDecimal_; }
    // The digits for the numbers with this exponent, a multiple of 3.
    void setHowManyDigitsAfterDecimal(int digits, int forExponent);
    // A unit behind the prefix; empty for none.
    void setUnits(std::string units) { exponentUnits_ = std::move(units); }

    std::size_t lengthOfStringFor(double number) const override;

protected:
    std::optional<decimal::Rounded> rounded(double magnitude) const override;
    void layOut(const decimal::Rounded& number, std::string& text) const override;

private:
    explicit KRNumberFormatterEngineering(int digits) : howManyDigitsAfterDecimal_(digits) { }
    int digitsFor(int exponent) const;

    std::map<int, int> howManyDigitsAfterDecimalDictionary_; // By exponent.
    int howManyDigitsAfterDecimal_;
    std::string exponentUnits_;
};
