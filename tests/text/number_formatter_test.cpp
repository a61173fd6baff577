// Numbers as people read them: digits, exponents, prefixes, groups, sizes and times.

#include "TestMessages.h"
#include "text/numbers/KRNumberFormatter.h"
#include "text/numbers/KRNumberFormatterEngineering.h"
#include "text/numbers/KRNumberFormatterNSWrapper.h"
#include "text/numbers/KRNumberFormatterScientific.h"
#include "text/numbers/KRNumberFormatterThousands.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
using Thousands = KRNumberFormatterThousands;

auto significant(int digits, bool removeTrails = false)
{
    return KRNumberFormatter::createWithSignificantDigits(digits, removeTrails);
}

std::string printed(const char* format, int digits, double number)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, digits, number);
    return text.data();
}

TEST(KRNumberFormatter, ChoosesTheFormByTheExponent)
{
    struct Case {
        double number;
        int digits;
        const char* kept;
        const char* removed;
    };
    const Case cases[] = {
        {123456, 4, "123456", "123456"},
        {1e6, 4, "1.000e6", "1e6"},
        {999999.9, 4, "1000000", "1000000"},
        {0.00001234, 3, "1.23e-5", "1.23e-5"},
        {0.0001234, 3, "0.000123", "0.000123"},
        {0.00009999, 2, "1.0e-4", "1e-4"},
        {0.9999, 3, "1.00", "1"},
        {9.999e9, 3, "1.00e10", "1e10"},
        {5, 4, "5.000", "5"},
        {5, 1, "5", "5"},
        {100, 3, "100", "100"},
        {100, 4, "100.0", "100"},
        {-12.5, 4, "-12.50", "-12.5"},
        {12345, 1, "12345", "12345"},
        {2e7, 1, "2e7", "2e7"},
        {1.75e-7, 0, "2e-7", "2e-7"},
        {0.1, 99, "0.100000000000000006", "0.100000000000000006"},
        {0, 5, "0", "0"},
        {-0.0, 5, "0", "0"},
        {5e-324, 3, "4.94e-324", "4.94e-324"},
        {1.7976931348623157e308, 6, "1.79769e308", "1.79769e308"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.number);
        EXPECT_EQ(significant(c.digits)->convertNumber(c.number), c.kept);
        EXPECT_EQ(significant(c.digits, true)->convertNumber(c.number), c.removed);
    }
    const auto late = significant(4, true);
    late->setExponentAfter(12);
    EXPECT_EQ(late->convertNumber(1234567890123.0), "1234567890123");
    EXPECT_EQ(late->convertNumber(12345678901234.0), "1.235e13");
    late->setExponentAfter(300);
    EXPECT_EQ(late->convertNumber(-1e19), "Error");
    EXPECT_EQ(late->valueAfterConversion(-1e19), -1e19);
}

// The C library's own digits are the oracle, over all exponents but those where many numbers lie half-way
// between two texts: there it writes the even one.
TEST(KRNumberFormatter, AgreesWithTheDigitsOfTheCLibrary)
{
    constexpr unsigned kSeed = 11;
    std::mt19937_64 random(kSeed);
    for (int digits = 1; digits <= 18; ++digits) {
        const auto formatter = KRNumberFormatterScientific::createWithDigitsAfterDecimal(digits - 1, false);
        for (int i = 0; i < 120'000; ++i) {
            const double number = std::bit_cast<double>(random());
            if (!std::isfinite(number) || (std::fabs(number) > 1e9 && std::fabs(number) < 1e19))
                continue;
            const std::string expected = printed("%.*e", digits - 1, number);
            const std::string text = formatter->convertNumber(number);
            const double value = std::strtod(text.c_str(), nullptr);
            ASSERT_TRUE(text.starts_with(expected.substr(0, expected.find('e')))
                && value == std::strtod(expected.c_str(), nullptr)
                && (i % 50 != 0 || value == formatter->valueAfterConversion(number)))
                << text << " instead of " << expected << ", seed " << kSeed;
        }
    }
    for (int exponent = -320; exponent <= 308; ++exponent) {
        const double number = std::strtod(("1e" + std::to_string(exponent)).c_str(), nullptr);
        const std::string text =
            KRNumberFormatterScientific::createWithDigitsAfterDecimal(2, true)->convertNumber(number);
        EXPECT_EQ(text, exponent == 0 ? "1" : "1e" + std::to_string(exponent));
    }
}

TEST(KRNumberFormatter, WritesFixedDigitsAndScientificOnes)
{
    const auto two = KRNumberFormatter::createWithFixedDigitsAfterDecimal(2);
    EXPECT_EQ(two->convertNumber(1234567.891), "1234567.89");
    EXPECT_EQ(two->convertNumber(0.125), "0.13"); // Half up: the binary fraction is exact.
    EXPECT_EQ(two->convertNumber(0.001), "0.00");
    EXPECT_EQ(two->convertNumber(-0.001), "-0.00");
    EXPECT_EQ(two->convertNumber(1e8), "1.00000e8");
    EXPECT_EQ(two->convertNumber(1e-9), "1.00000e-9");
    EXPECT_EQ(two->valueAfterConversion(-2.345678), -2.35);
    EXPECT_EQ(KRNumberFormatter::createWithFixedDigitsAfterDecimal(-1)->convertNumber(2.5), "3");
    EXPECT_EQ(KRNumberFormatter::createWithFixedDigitsAfterDecimal(18)->convertNumber(12), "Error");
    const auto scientific = KRNumberFormatter::createWithScientificNotationDigits(3);
    EXPECT_EQ(scientific->convertNumber(1234), "1.23e3");
    EXPECT_EQ(scientific->convertNumber(1.5), "1.50");
    const auto one = KRNumberFormatter::createWithScientificNotationDigits(1);
    EXPECT_EQ(one->convertNumber(25), "3e1");
    EXPECT_EQ(one->convertNumber(-45), "-5e1");
    EXPECT_EQ(one->convertNumber(24.999999999999996), "2e1");
    EXPECT_EQ(one->convertNumber(6.5e20), "7e20");
    EXPECT_EQ(
        KRNumberFormatterScientific::createWithDigitsAfterDecimal(18, false)->convertNumber(9.5), "Error");
}

TEST(KRNumberFormatter, WritesExponentsAsMarkupOrSuperscripts)
{
    const auto formatter = KRNumberFormatter::createWithScientificNotationDigits(1);
    const auto three = significant(3, true);
    for (const auto& each : {formatter, three})
        each->setUseFancyExponent(true);
    three->setExponentAfter(4);
    EXPECT_EQ(formatter->convertNumber(1e5), "10^{5}");
    EXPECT_EQ(formatter->convertNumber(-1e-5), "-10^{-5}");
    EXPECT_EQ(three->convertNumber(1.5e-7), "1.5×10^{-7}");
    EXPECT_EQ(three->convertNumber(1e5), "10^{5}");
    EXPECT_EQ(three->convertNumber(150), "150");
    three->setUseUnicodeMinus(true);
    EXPECT_EQ(three->convertNumber(-1.5e-7), "−1.5×10^{−7}");
    EXPECT_EQ(three->lengthOfStringFor(-1.5e-7), 12U);
    three->setFancyExponentUsesUnicode(true);
    EXPECT_EQ(three->convertNumber(2e-123), "2×10⁻¹²³");
    EXPECT_EQ(three->convertNumber(1e45), "10⁴⁵");
    EXPECT_EQ(three->convertNumber(6e67), "6×10⁶⁷");
    EXPECT_EQ(three->convertNumber(1e89), "10⁸⁹");
    EXPECT_EQ(three->convertNumber(3e200), "3×10²⁰⁰");
    three->setUseFancyExponent(false);
    EXPECT_EQ(three->convertNumber(1.5e-7), "1.5e−7");
}

TEST(KRNumberFormatter, EveryFormatterHasTheSameWordsForWhatIsNoNumber)
{
    const std::shared_ptr<KRNumberFormatterBase> all[] = {significant(3),
        KRNumberFormatterScientific::createWithDigitsAfterDecimal(2, true),
        KRNumberFormatterEngineering::createWithDigitsAfterDecimal(1),
        Thousands::create(Thousands::Type::Decimals, 2),
        KRNumberFormatterNSWrapper::create([](double) { return "other"; })};
    for (const auto& formatter : all) {
        EXPECT_EQ(formatter->convertNumber(kNaN), "NaN");
        EXPECT_EQ(formatter->convertNumber(kInfinity), "∞");
        EXPECT_EQ(formatter->convertNumber(-kInfinity), "-∞");
        EXPECT_EQ(formatter->valueAfterConversion(-kInfinity), -kInfinity);
        formatter->setUseUnicodeMinus(true);
        EXPECT_EQ(formatter->convertNumber(-kInfinity), "−∞");
        EXPECT_EQ(formatter->lengthOfStringFor(-kInfinity), 2U);
    }
    EXPECT_EQ(all[4]->convertNumber(1), "other");
    EXPECT_EQ(KRNumberFormatterNSWrapper::create(nullptr), nullptr);
}

TEST(KRNumberFormatter, ASeparatorThatIsNoTextIsReported)
{
    TestMessages messages;
    const auto formatter = significant(3);
    formatter->setDecimalSeparator(',');
    EXPECT_EQ(formatter->convertNumber(1.5), "1,50");
    formatter->setDecimalSeparator('\xc3');
    std::string text = "kept ";
    formatter->appendNumber(1.5, text);
    EXPECT_EQ(text, "kept ");
    formatter->appendNumber(150, text); // Without a separator it is valid.
    EXPECT_EQ(text, "kept 150");
    EXPECT_EQ(messages.take(), std::vector<std::string>{"Invalid number - 1.5"});
}

TEST(KRNumberFormatter, FindsTheDigitsThatNumbersNeed)
{
    EXPECT_EQ(KRNumberFormatter::createBasedOn(12)->significantDigits(), 13);
    EXPECT_EQ(KRNumberFormatter::createBasedOn(-2.375)->convertNumber(-2.375), "-2.375");
    EXPECT_EQ(KRNumberFormatter::createBasedOn(0.00001)->howManyDigitsAfterDecimal(), 2); // "1e-5"
    EXPECT_EQ(KRNumberFormatter::createBasedOn(kNaN)->significantDigits(), 13);
    const auto decimals = [](double low, double high, double pixels) {
        return KRNumberFormatter::createBasedOnMinValue(low, high, pixels)->howManyDigitsAfterDecimal();
    };
    EXPECT_EQ(decimals(0, 1, 1000), 3);
    EXPECT_EQ(decimals(0, 1e-4, -1000), 7);
    EXPECT_EQ(decimals(0, 1000, 100), 2);
    EXPECT_EQ(decimals(1, 1, 100), 15);
    EXPECT_EQ(decimals(0, 0, 0), 2);
    const auto axis = [](std::vector<double> list, double scale, double shown) {
        return KRNumberFormatter::formatterForList(list, scale)->convertNumber(shown);
    };
    EXPECT_EQ(axis({0, 0.1, 0.1 + 0.2}, 1, 0.1), "0.1");
    EXPECT_EQ(axis({0, 100, 250}, 1e-3, 0.1), "0.10");
    EXPECT_EQ(axis({1, 2, kNaN}, 1, 2), "2");
    EXPECT_EQ(axis({1000, 0.0001234567890123}, 1, 1000), "1000.00000000000000"); // More wouldn't fit.
    EXPECT_EQ(axis({0.5e7, 1.25e7}, 1, 0.5e7), "5e6");
    EXPECT_EQ(axis({0.5e7, 1.25e7}, 1, 1.23456e7), "1.23e7");
    const double sizes[] = {1500, 2.25e6, 3e6, 999};
    const auto engineering = KRNumberFormatterEngineering::formatterForList(sizes);
    EXPECT_EQ(engineering->convertNumber(2e3), "2.0k");
    EXPECT_EQ(engineering->convertNumber(2e6), "2.00M");
    EXPECT_EQ(engineering->convertNumber(2), "2");
    EXPECT_EQ(Thousands::formatterForList(sizes, Thousands::Type::SignificantDigits)->numberOfDigits(), 3);
    const double parts[] = {1, 0.125, 20.5};
    EXPECT_EQ(
        Thousands::formatterForList(parts, Thousands::Type::Decimals)->convertNumber(2000), "2,000.000");
    const double apart[] = {-3e9, 1.5e-10};
    EXPECT_EQ(Thousands::formatterForList(apart, Thousands::Type::Decimals)->convertNumber(-3e9),
        "-3,000,000,000.00000000");
}

TEST(KRNumberFormatterEngineering, WritesPrefixesUnitsAndExponentsBeyondThem)
{
    const auto none = KRNumberFormatterEngineering::createWithDigitsAfterDecimal(0);
    const auto two = KRNumberFormatterEngineering::createWithDigitsAfterDecimal(2);
    EXPECT_EQ(none->convertNumber(999.9996), "1k");
    EXPECT_EQ(none->convertNumber(999.4), "999");
    const char* prefixes[] = {
        "y", "z", "a", "f", "p", "n", "{\\micro}", "m", "", "k", "M", "G", "T", "P", "E", "Z", "Y"};
    for (int i = 0; i < 17; ++i) {
        const std::string power = std::to_string(3 * i - 24);
        EXPECT_EQ(two->convertNumber(std::strtod(("12.5e" + power).c_str(), nullptr)),
            std::string("12.50") + prefixes[i]);
    }
    EXPECT_EQ(two->convertNumber(1.5e27), "1.50e27");
    EXPECT_EQ(two->convertNumber(-2e-25), "-200.00e-27");
    EXPECT_EQ(two->convertNumber(3e-47), "30.00e-48");
    two->setHowManyDigitsAfterDecimal(0, 3);
    EXPECT_EQ(two->convertNumber(1234), "1k");
    EXPECT_EQ(two->convertNumber(999.999), "1k");
    EXPECT_EQ(two->convertNumber(999999.0), "1.00M");
    two->setUnits("Hz");
    EXPECT_EQ(two->convertNumber(2.5e-6), "2.50{\\micro}Hz");
    EXPECT_EQ(two->lengthOfStringFor(2.5e-6), 7U);
    EXPECT_EQ(two->lengthOfStringFor(2.5e-3), 7U);
    EXPECT_EQ(two->convertNumber(0), "0");
    EXPECT_DOUBLE_EQ(two->valueAfterConversion(1.23456e-6), 1.23e-6);
}

TEST(KRNumberFormatterThousands, GroupsDigits)
{
    const auto decimals = Thousands::create(Thousands::Type::Decimals, 2);
    EXPECT_EQ(decimals->convertNumber(-1234567.891), "-1,234,567.89");
    EXPECT_EQ(decimals->convertNumber(123456), "123,456.00");
    EXPECT_EQ(decimals->convertNumber(999), "999.00");
    EXPECT_EQ(decimals->convertNumber(0), "0.00");
    EXPECT_EQ(Thousands::create(Thousands::Type::Decimals, 0)->convertNumber(0), "0");
    EXPECT_EQ(decimals->convertNumber(1e18), "Error");
    const auto digits = Thousands::create(Thousands::Type::SignificantDigits, 3);
    EXPECT_EQ(digits->convertNumber(0), "0");
    EXPECT_EQ(digits->convertNumber(1234567), "1,230,000");
    EXPECT_EQ(digits->convertNumber(0.0123456), "0.0123");
    EXPECT_EQ(digits->convertNumber(1e300).size(), 401U);
    EXPECT_EQ(digits->convertNumber(1e-300), "0." + std::string(299, '0') + "100");
    digits->setUseThousandsSeparator(false);
    digits->setThousandsSeparator('.');
    EXPECT_EQ(digits->convertNumber(1234567), "1230000");
    digits->setUseThousandsSeparator(true);
    digits->setDecimalSeparator(',');
    EXPECT_EQ(digits->convertNumber(1234.5), "1.230");
    EXPECT_EQ(digits->convertNumber(1.5), "1,50");
}

TEST(KRNumberFormatter, WritesNumbersAndSizesInFixedForms)
{
    EXPECT_EQ(KRNumberFormatter::convert(0.1), "0.1");
    EXPECT_EQ(KRNumberFormatter::convert(123456789012345.0), "123456789012345");
    EXPECT_EQ(KRNumberFormatter::convert(1e15), "1000000000000000");
    EXPECT_EQ(KRNumberFormatter::convert(1e16), "1e16");
    EXPECT_EQ(KRNumberFormatter::shortDouble(3.14159265), "3.142");
    EXPECT_EQ(KRNumberFormatter::shortDouble(2), "2");
    EXPECT_EQ(KRNumberFormatter::convertToLocalizedCount(999), "999");
    const std::pair<std::uint64_t, const char*> sizes[] = {{0, "Empty"}, {1, "1 byte"}, {2, "2B"},
        {999, "999B"}, {1000, "1K"}, {1499, "1K"}, {1500, "2K"}, {999499, "999K"}, {999500, "1.0MB"},
        {1049999, "1.0MB"}, {1050000, "1.1MB"}, {9949999, "9.9MB"}, {9950000, "10MB"}, {999499999, "999MB"},
        {999500000, "1.0GB"}, {1950000000, "2.0GB"}, {1949999999, "1.9GB"}, {9949999999, "9.9GB"},
        {9950000000, "10GB"}, {250000000000, "250GB"}};
    for (const auto& [bytes, text] : sizes)
        EXPECT_EQ(KRNumberFormatter::sizeString(bytes), text);
}

TEST(KRNumberFormatter, WritesTimesAndDates)
{
    const auto minutes = KRNumberFormatter::convertToMinuteSeconds;
    const auto hours = KRNumberFormatter::convertToHourMinuteSeconds;
    const auto date = KRNumberFormatter::convertFromDate;
    for (const auto write : {+minutes, +hours, +date}) {
        EXPECT_EQ(write(std::nullopt), "Not a date");
        EXPECT_EQ(write(1e300), "Not a date");
        EXPECT_EQ(write(kNaN), "NAN");
        EXPECT_EQ(write(kInfinity), "∞");
        EXPECT_EQ(write(-kInfinity), write == +date ? "-∞" : "−∞");
    }
    EXPECT_EQ(minutes(5), "0:05");
    EXPECT_EQ(minutes(-725.5), "-12:05.500000");
    EXPECT_EQ(minutes(59.9999999), "1:00");
    EXPECT_EQ(minutes(3600.000001), "60:00.000001");
    EXPECT_EQ(minutes(-1e-9), "0:00");
    EXPECT_EQ(hours(3725.25), "1:02:05.250");
    EXPECT_EQ(hours(-360000), "-100:00:00");
    EXPECT_EQ(hours(61.0004), "0:01:01");
    EXPECT_EQ(date(0), "1970:1:1");
    EXPECT_EQ(date(983318400 + 50700), "2001:2:28:14:05");
    EXPECT_EQ(date(983318400 + 50730.25), "2001:2:28:14:05:30.250");
    EXPECT_EQ(date(-0.001), "1969:12:31:23:59:59.999");
    EXPECT_EQ(date(-61536067200.0), "0020:1:1");
    EXPECT_EQ(date(-52034745600.0), "0321:2:1");
    EXPECT_EQ(date(-63549360000.0), "44BC:3:15");
    EXPECT_EQ(date(4e12), "Not a date");
    EXPECT_EQ(KRNumberFormatter::snapToNiceDateValue(94, 60, 5), 65);
    EXPECT_EQ(KRNumberFormatter::snapDownToNiceDateValue(124, 60, 5), 65);
    EXPECT_EQ(KRNumberFormatter::snapUpToNiceDateValue(66, 60, 5), 125);
    EXPECT_EQ(KRNumberFormatter::snapToNiceDateValue(94, 0, 5), 94);
}

} // namespace
