#pragma once

#include "text/numbers/KRNumberFormatterBase.h"

#include <functional>
#include <memory>

// Hands numbers to another formatter, so that it can stand where one of this family is asked for. NaN and the
// infinities keep the family's words.
class KRNumberFormatterNSWrapper : public KRNumberFormatterBase {
public:
    using Formatter = std::function<std::string(double)>;
    // Null for an empty function. The function is called on the threads that use the formatter.
    static std::shared_ptr<KRNumberFormatterNSWrapper> create(Formatter formatter);
    // The decimal style of the user's locale: digit groups, and at most three decimals.
    static std::shared_ptr<KRNumberFormatterNSWrapper> createForUsersLocale();

    // The number itself: what the other formatter rounds isn't known.
    double valueAfterConversion(double number) const override { return number; }

protected:
    std::optional<decimal::Rounded> rounded(double) const override { return std::nullopt; }
    void layOut(const decimal::Rounded&, std::string&) const override { }
    void appendAny(double number, std::string& text) const override;

private:
    explicit KRNumberFormatterNSWrapper(Formatter formatter) : formatter_(std::move(formatter)) { }

    Formatter formatter_;
};
