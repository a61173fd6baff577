#include "arrays/containers/KRNumberText.h"

#include "arrays/containers/KRArrayTextInput.h"
#include "arrays/containers/KROneLineText.h"
#include "arrays/containers/text_testing.h"
#include "datafile/comma_locale.h"

#include <cstring>
#include <random>

using namespace containertest;

namespace {

// What the C library's reader of the type gives; `end` is 0 if there is no number.
template <class T>
struct Reference {
    T value{};
    long end = 0;
};

template <class T>
Reference<T> referenceOf(const std::string& text)
{
    Reference<T> reference;
    if (text.empty() || KRIsBlank(text[0]))
        return reference;
    char* end = nullptr;
    if constexpr (std::is_same_v<T, double>)
        reference.value = std::strtod(text.c_str(), &end);
    else if constexpr (std::is_same_v<T, float>)
        reference.value = std::strtof(text.c_str(), &end);
    else
        std::strtol(text.c_str(), &end, 10); // It tells where %d stops.
    if constexpr (std::is_integral_v<T>)
        std::sscanf(text.c_str(), "%d", &reference.value);
    reference.end = end - text.c_str();
    return reference;
}

template <class T>
void expectAsTheLibrary(const std::string& text)
{
    // A block of exactly its size: the sanitizer notices a look behind its end.
    const std::unique_ptr<char[]> block(new char[text.size()]);
    std::copy(text.begin(), text.end(), block.get());
    const auto number = KRReadNumber<T>(block.get(), block.get() + text.size());
    const auto reference = referenceOf<T>(text);
    ASSERT_EQ(number ? number.end - block.get() : 0, reference.end) << '"' << text << '"';
    if (reference.end > 0) {
        ASSERT_EQ(std::memcmp(&number.value, &reference.value, sizeof(T)), 0)
            << '"' << text << "\": " << number.value << " instead of " << reference.value;
    }
}

void expectAllAsTheLibrary(const std::string& text)
{
    expectAsTheLibrary<double>(text);
    expectAsTheLibrary<float>(text);
    expectAsTheLibrary<std::int32_t>(text);
}

TEST(NumberText, OddFormsReadAsInTheLibrary)
{
    for (const char* text :
        {"", "-", "+", ".", "+.", "-.5", "+5", "+-5", "--5", "5.", ".5.", "1e", "1e+", "1e5x", "1.5D3", "inf",
            "-INF", "+inf", "infinity", "infinit", "in", "nan", "NaN", "-nan", "nan(", "nan()", "nan(12)x",
            "nan(1 2)", "nan(0x7)", "0x", "0x1p3", "-0X.8", "0x.", "0x1.8p", "0x1p-1100", "0xg", "00012",
            "-0", "1e400", "-1e400", "1e-400", "4.9e-324", "2.4e-324", "2.5e-324", "1e99999999999999999999",
            "1e-99999999999999999999", "3.4028236e38", "1e39", "1e-46", "2147483647", "2147483648",
            "-2147483649", "3000000000", "9223372036854775807", "9223372036854775808", "-9223372036854775808",
            "-9223372036854775809", "99999999999999999999999", "1_000", "1,5", "0.1f", "9007199254740993",
            "9007199254740992.99999999999999999999999999999999999999999"})
        expectAllAsTheLibrary(text);
    const std::string exact =
        "2.2250738585072011360574097967091319759348195463516456480234261097248222220210769";
    expectAllAsTheLibrary(exact + std::string(800, '4') + "e-308"); // Close to the middle of two doubles.
    expectAllAsTheLibrary("0." + std::string(400, '0') + "1e400");
    expectAllAsTheLibrary(std::string(400, '9') + "e-390");
}

// The seed is printed with a failure by the text itself.
TEST(NumberText, RandomTextsReadAsInTheLibrary)
{
    std::mt19937_64 random(20240607);
    char text[64];
    for (int round = 0; round < 200000; ++round) {
        const std::uint64_t bits = random();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        const int digits = static_cast<int>(random() % 20);
        const char* formats[] = {"%.*g", "%.*e", "%.*E", "%+.*g"};
        std::snprintf(text, sizeof text, formats[random() % 4], digits, number);
        ASSERT_NO_FATAL_FAILURE(expectAllAsTheLibrary(text));
        // Of the size of measured values, and of a float's range.
        std::snprintf(
            text, sizeof text, "%.*f", digits, static_cast<double>(static_cast<std::int64_t>(bits)) / 1e15);
        ASSERT_NO_FATAL_FAILURE(expectAllAsTheLibrary(text));
        std::snprintf(text, sizeof text, "%.*g", digits % 12,
            std::ldexp(static_cast<double>(bits >> 12), static_cast<int>(bits % 300) - 200));
        ASSERT_NO_FATAL_FAILURE(expectAllAsTheLibrary(text));
    }

    std::mt19937 letters(7);
    const std::string characters = "0123456789012345..eE+-xXpnaif(), ";
    for (int round = 0; round < 300000; ++round) {
        std::string word(letters() % 12, ' ');
        for (char& c : word)
            c = characters[letters() % characters.size()];
        ASSERT_NO_FATAL_FAILURE(expectAllAsTheLibrary(word));
    }
}

class NumberTextWithComma : public svtest::CommaLocale { };

TEST_F(NumberTextWithComma, ReadsAPoint)
{
    const std::string text = "0x1.8p1 1.5";
    EXPECT_EQ(KRReadNumber<double>(text.data(), text.data() + 7).value, 3);
    EXPECT_EQ(KRReadNumber<float>(text.data() + 8, text.data() + 11).value, 1.5F);
    const TextFile file("1.5,2.5\n");
    EXPECT_EQ(shown(KRArrayTextInput<double>::readInContentFromFile(file.path(), 0)), "1x2x1: 1.5 2.5");
    EXPECT_EQ(
        shown(KRArrayTextInput<float>::readFromFile(streamOf("1.5 2.5").get(), 2, 1, 1)), "2x1x1: 1.5 2.5");
    EXPECT_EQ(shown(readInOneLineFrom(streamOf("1.5,0X1.8p0").get(), 9)), "2x1x1: 1.5 1.5");
    EXPECT_EQ(containerOf<double>({0.5})->description(), "Double array (1 x 1 x 1). 0.5.");
}

} // namespace
