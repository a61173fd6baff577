#pragma once

#include "text/numbers/KRNumberFormatterBase.h"

#include <memory>

// Always mantissa and exponent, with a count of digits behind the decimal separator. An exponent of 0 isn't
// written.
class KRNumberFormatterScientific : public KRNumberFormatterBase {
public:
    // Below 0 counts as 0; from 18 on numbers begin to give "Error".
    static std::shared_ptr<KRNumberFormatterScientific> createWithDigitsAfterDecimal(
        int digits, bool removeTrailingZeros);

    int howManyDigitsAfterDecimal() const { return howManyDigitsAfterDecimal_; }

protected:
    std::optional<decimal::Rounded> rounded(double magnitude) const override;
    void layOut(const decimal::Rounded& number, std::string& text) const override;

private:
    KRNumberFormatterScientific(int digits, bool removeTrailingZeros)
        : howManyDigitsAfterDecimal_(digits), removeTrailingZeros_(removeTrailingZeros)
    { }

    int howManyDigitsAfterDecimal_;
    bool removeTrailingZeros_;
};
