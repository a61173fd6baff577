#pragma once

#include "text/numbers/KRNumberFormatterBase.h"

#include <memory>
#include <span>

// Numbers without exponents, their digits in groups of three: "1,234,567.89".
class KRNumberFormatterThousands : public KRNumberFormatterBase {
public:
    enum class Type { Decimals, SignificantDigits };

    // 0 to 18 decimals, or 1 to 18 significant digits.
    static std::shared_ptr<KRNumberFormatterThousands> create(
        Type type, int numberOfDigits, bool useThousandsSeparator = true);
    // As many digits as the numbers of the list need.
    static std::shared_ptr<KRNumberFormatterThousands> formatterForList(
        std::span<const double> list, Type type);

    Type type() const { return type_; }
    int numberOfDigits() const { return numberOfDigits_; }
    bool useThousandsSeparator() const { return useThousandsSeparator_; }
    void setUseThousandsSeparator(bool use) { useThousandsSeparator_ = use; }

protected:
    std::optional<decimal::Rounded> rounded(double magnitude) const override;
    void layOut(const decimal::Rounded& number, std::string& text) const override;
    void appendZero(std::string& text) const override;

private:
    KRNumberFormatterThousands(Type type, int digits, bool groups)
        : type_(type), numberOfDigits_(digits), useThousandsSeparator_(groups)
    { }

    Type type_;
    int numberOfDigits_;
    bool useThousandsSeparator_;
};
