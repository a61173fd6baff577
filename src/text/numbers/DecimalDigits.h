#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

// The arithmetic below the number formatters: decimal exponents, scaled rounding, and texts of digits. Inside
// of src/text. Any thread.
namespace decimal {

constexpr int kMostDigits = 18; // What a signed 64-bit integer holds in full.
constexpr int kDigitsWithoutNoise = 13; // The last digits of a double show the rounding of earlier sums.

// A number that has been rounded for display: digits * 10^exponent.
struct Rounded {
    std::uint64_t digits = 0;
    int exponent = 0;
    bool isScientific = false; // Shown with an exponent.

    double value() const; // The nearest double.
};

// floor(log10(magnitude)) of a finite number above 0.
int exponentOf(double magnitude);

// magnitude * 10^power, rounded half up; nothing when it doesn't fit into a signed 64-bit integer.
std::optional<std::uint64_t> scaled(double magnitude, int power);

// The most digits behind the separator, 0 to 18, with which numbers up to this magnitude still fit.
int mostDecimals(double magnitude);

// The first `digits` (1 to 18) significant digits of a finite number above 0. A round-up that adds a digit is
// made good, so that the count holds.
std::optional<Rounded> significant(double magnitude, int digits);
// The same where exponentOf(magnitude) is known.
std::optional<Rounded> significant(double magnitude, int digits, int exponent);

// The text of a number while it is put together, without allocations.
class Text {
public:
    void add(char byte)
    {
        if (size_ < bytes_.size())
            bytes_[size_++] = byte;
    }
    void add(std::string_view text);
    void addZeros(int count);
    void addInteger(std::uint64_t number);
    std::string_view view() const { return {bytes_.data(), size_}; }
    char last() const { return bytes_[size_ - 1]; } // Only of a text that isn't empty.
    void removeLast() { --size_; }

private:
    // 20 digits, 30 zeros, and the longest form of an exponent fit with room to spare. More is cut.
    std::array<char, 96> bytes_;
    std::size_t size_ = 0;
};

// "0.00123", "12.3", "12300". A fractional part loses its trailing zeros when they are to be removed, and the
// separator with the last of them.
void addPlain(Text& text, const Rounded& number, char separator, bool removeTrailingZeros);

// "1.23" of the digits 123: what stands before an exponent. Returns the exponent that belongs behind it.
int addMantissa(Text& text, const Rounded& number, char separator, bool removeTrailingZeros);

// "e-7" for -7, with the given text as minus; nothing for 0.
void addExponent(Text& text, int exponent, std::string_view minus);

// Any number with 15 significant digits, without trailing zeros: with an exponent unless it is between -5 and
// 5. "NaN", "∞" and "-∞" for what isn't finite.
void addNumber(Text& text, double number);

} // namespace decimal
