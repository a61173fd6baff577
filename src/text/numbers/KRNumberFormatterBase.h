#pragma once

#include "text/numbers/DecimalDigits.h"

#include <cstddef>
#include <optional>
#include <string>

// What all number formatters have in common: special values, signs, and the form of exponents. A formatter
// doesn't depend on the locale, except KRNumberFormatterNSWrapper. Any thread may use a formatter that nobody
// changes.
class KRNumberFormatterBase {
public:
    virtual ~KRNumberFormatterBase() = default;

    // The number as text. "∞", "-∞" ("−∞" with the Unicode minus) and "NaN" for what isn't finite, "0" for
    // zero, "Error" for a number whose digits don't fit into 63 bits. A separator that makes the text invalid
    // UTF-8 is reported to the message center, and the text is empty.
    std::string convertNumber(double number) const;
    void appendNumber(double number, std::string& text) const; // The same, behind what the text holds.

    // The count of characters of the same text; the engineering form counts a prefix as one.
    virtual std::size_t lengthOfStringFor(double number) const;
    // The number that the text stands for. Special values, and those that give "Error", stay as they are.
    virtual double valueAfterConversion(double number) const;

    // Bytes of ASCII, "." and "," unless set.
    char decimalSeparator() const { return decimalSeparator_; }
    char thousandsSeparator() const { return thousandsSeparator_; }
    void setDecimalSeparator(char separator) { decimalSeparator_ = separator; }
    void setThousandsSeparator(char separator) { thousandsSeparator_ = separator; }
    // U+2212 instead of "-".
    bool useUnicodeMinus() const { return useUnicodeMinus_; }
    void setUseUnicodeMinus(bool use) { useUnicodeMinus_ = use; }
    // Exponents as markup, 1.5×10^{-7} instead of 1.5e-7, or as superscript characters.
    bool useFancyExponent() const { return useFancyExponent_; }
    void setUseFancyExponent(bool use) { useFancyExponent_ = use; }
    bool fancyExponentUsesUnicode() const { return fancyExponentUsesUnicode_; }
    void setFancyExponentUsesUnicode(bool use) { fancyExponentUsesUnicode_ = use; }

protected:
    KRNumberFormatterBase() = default;
    KRNumberFormatterBase(const KRNumberFormatterBase&) = default;
    KRNumberFormatterBase& operator=(const KRNumberFormatterBase&) = default;

    // The digits of a finite number above 0; nothing when they don't fit.
    virtual std::optional<decimal::Rounded> rounded(double magnitude) const = 0;
    // The text of such digits, without a sign.
    virtual void layOut(const decimal::Rounded& number, std::string& text) const = 0;
    virtual void appendZero(std::string& text) const { text += '0'; }

    // Mantissa and exponent; an exponent of 0 is left out, and a fancy one leaves out the mantissa "1".
    void layOutScientific(const decimal::Rounded& number, bool removeTrailingZeros, std::string& text) const;

    // Any number, whether its text is valid or not.
    virtual void appendAny(double number, std::string& text) const;

private:
    void addFancyExponent(decimal::Text& text, int exponent) const;

    char decimalSeparator_ = '.';
    char thousandsSeparator_ = ',';
    bool useUnicodeMinus_ = false;
    bool useFancyExponent_ = false;
    bool fancyExponentUsesUnicode_ = false;
};
