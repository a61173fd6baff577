#include "platform/plist/PropertyList.h"

#include "platform/TemporaryFolder.h"
#include "platform/loop/Pace.h"
#include "platform/service/SecretStore.h"

#include <cmath>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <limits>

namespace {

using platform::Value;
using testing::HasSubstr;
using testing::UnorderedElementsAre;
namespace files = platform::files;
namespace propertylist = platform::propertylist;

std::string xml(const std::string& content)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + content + "</plist>\n";
}

std::string repeated(std::string_view text, std::size_t times)
{
    std::string result;
    for (std::size_t time = 0; time < times; ++time)
        result.append(text);
    return result;
}

// Why there is no value; empty when there is one.
std::string complaintOf(const platform::Result<Value>& result)
{
    return result ? "" : result.error().text;
}

Value readBack(const Value& value)
{
    const auto result = propertylist::parse(propertylist::toXml(value));
    EXPECT_TRUE(result) << result.error().text;
    return result.value_or(Value());
}

TEST(PropertyList, WhatIsWrittenReadsBackTheSameAsFarAsXmlCarriesIt)
{
    constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
    constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
    Value::Array everything{"", " two\n lines\t", "<&>\"' \r\n naïve 😀", 0, Value(kLeast), Value(kMost), 0.1,
        1.0, -0.0, 5e-324, 1.7976931348623157e308, 3.141592653589793, true, false, Value(Value::Date{0}),
        Value(Value::Date{-1.0}), Value(Value::Date{32503680000.0}), Value(Value::Array()),
        Value(Value::Dictionary())};
    for (std::size_t size = 0; size < 10; ++size)
        everything.emplace_back(Value::Data(size, static_cast<std::uint8_t>(250 + size)));
    const Value whole(Value::Dictionary{{"all & more", Value(everything)}, {"", "empty key"}});
    EXPECT_EQ(readBack(whole), whole);
    EXPECT_EQ(readBack(Value(std::numeric_limits<double>::infinity())).number(), HUGE_VAL);
    EXPECT_TRUE(std::isnan(*readBack(Value(std::nan(""))).number()));
    const std::pair<Value, const char*> texts[] = {
        {std::numeric_limits<double>::infinity(), "<real>+infinity</real>"},
        {-std::numeric_limits<double>::infinity(), "<real>-infinity</real>"},
        {std::nan(""), "<real>nan</real>"},
        {0.1, "<real>0.1</real>"},
        {Value(Value::Date{-62135596800.0}), "<date>0001-01-01T00:00:00Z</date>"},
        {Value(Value::Date{1709209845.9}), "<date>2024-02-29T12:30:45Z</date>"},
        {Value(Value::Date{-0.5}), "<date>1969-12-31T23:59:59Z</date>"},
    };
    for (const auto& [value, text] : texts)
        EXPECT_THAT(propertylist::toXml(value), HasSubstr(text));

    const std::string bad = std::string("a\x01") + std::string("b\0c\xFF\xC3(\xEF\xBF\xBF", 9);
    const std::string replaced = "a\uFFFDb\uFFFDc\uFFFD\uFFFD(\uFFFD";
    EXPECT_EQ(readBack(Value(bad)), Value(replaced));
    EXPECT_EQ(readBack(Value(Value::Dictionary{{bad, Value()}, {"k", Value(Value::Array{Value(), 1})}})),
        Value(Value::Dictionary{{"k", Value(Value::Array{"", 1})}}));
    EXPECT_EQ(readBack(Value(Value::Date{1e300})).date()->secondsSince1970, 253402300799.0);
}

TEST(PropertyList, ReadsSingleValuesOfTheXmlForm)
{
    const std::pair<const char*, Value> cases[] = {
        {"<integer> +0x1f </integer>", 31},
        {"<integer>-9223372036854775808</integer>", std::numeric_limits<std::int64_t>::min()},
        {"<integer>18446744073709551615</integer>", 18446744073709551615.0},
        {"<real>1</real>", 1.0},
        {"<real>+1e400</real>", HUGE_VAL},
        {"<real>-1e-400</real>", -0.0},
        {"<date>2024-02-29T12:30:45Z</date>", Value::Date{1709209845}},
        {"<date>2016-12-31T23:59:60Z</date>", Value::Date{1483228800}},
        {"<data>aGk</data>", Value::Data{'h', 'i'}},
        {"<data> aGVs\n\tbG8= </data>", Value::Data{'h', 'e', 'l', 'l', 'o'}},
        {"<string>a<![CDATA[<b>&]]>&#x20AC;&amp;<!-- not this --></string>", "a<b>&€&"},
        {"<!-- before --><true/>", true},
    };
    for (const auto& [content, value] : cases) {
        const auto result = propertylist::parse(xml(content));
        EXPECT_EQ(result, value) << content << " " << complaintOf(result);
    }
    EXPECT_EQ(propertylist::parse("\xEF\xBB\xBF \n<dict><key>a</key><true/></dict>"),
        Value(Value::Dictionary{{"a", true}}));
    EXPECT_EQ(propertylist::parse(
                  "<?xml version='1.0' encoding='ISO-8859-1'?><plist><string>\xE9</string></plist>"),
        Value("é"));
}

TEST(PropertyList, WhatIsDamagedOrCutAnywhereIsUnreadableAndSaysWhere)
{
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"empty", {""}},
        {"no property list", {"word"}},
        {"no value", {xml("")}},
        {"\"12a\" is no whole number", {xml("<integer>12a</integer>")}},
        {"no whole number", {xml("<integer/>"), xml("<integer>18446744073709551616</integer>")}},
        {"no number", {xml("<real>1,5</real>")}},
        {"no date",
            {xml("<date>2023-02-29T00:00:00Z</date>"), xml("<date>2023-02-28T24:00:00Z</date>"),
                xml("<date>2023-02-28T00:60:00Z</date>"), xml("<date>2023-02-28T00:00:61Z</date>")}},
        {"no data", {xml("<data>aGVsb</data>"), xml("<data>aGk=aGk=</data>")}},
        {"second value", {xml("<true/><false/>")}},
        {"line 3: <foo>", {xml("\n<foo/>")}},
        {"without a <key>", {xml("<dict><true/></dict>")}},
        {"\"a\" has no value", {xml("<dict><key>a</key></dict>")}},
        {"<key> where", {xml("<dict><key>a</key><key>b</key></dict>")}},
        {"in no value", {xml("<array>text</array>")}},
        {"inside of a value", {xml("<string><string>a</string></string>")}},
        {"neither UTF-8", {xml("<string>\xFF</string>"), xml("<string>\x01</string>")}},
        {"line 2", {xml("<string>a & b</string>")}},
        {"mismatched", {xml("<dict><key>a</key><true/></array>")}},
        {"line 3", {xml("<true/>") + "junk"}},
        {"document type",
            {"<!DOCTYPE plist [<!ENTITY a \"aaaa\"><!ENTITY b "
             "\"&a;&a;&a;\">]><plist><string>&b;</string></plist>"}},
        {"&x;", {"<!DOCTYPE plist SYSTEM \"file:///etc/passwd\"><plist><string>&x;</string></plist>"}},
    };
    for (const auto& [reason, texts] : cases)
        for (const std::string& text : texts)
            EXPECT_THAT(complaintOf(propertylist::parse(text)), HasSubstr(reason)) << text;

    const std::string whole = xml("<dict><key>Executable</key><string>a&amp;b</string><key>n</key>"
                                  "<array><integer>5</integer><data>aGk=</data></array></dict>");
    const std::size_t end = whole.find("</plist>") + 8;
    for (std::size_t size = 0; size < end; ++size)
        EXPECT_FALSE(propertylist::parse(whole.substr(0, size))) << size;
}

TEST(PropertyList, NoNestingIsTooDeepToBeRefused)
{
    for (const std::size_t depth : {std::size_t{512}, std::size_t{513}, std::size_t{10'000'000}}) {
        const bool expected = depth <= 512;
        EXPECT_EQ(propertylist::parse(
                      "<plist>" + repeated("<array>", depth) + repeated("</array>", depth) + "</plist>")
                      .ok(),
            expected)
            << depth;
        const auto arrays = propertylist::parse(repeated("(", depth) + repeated(")", depth));
        EXPECT_THAT(complaintOf(arrays), HasSubstr(expected ? "" : "nested more than 512 levels deep"));
        EXPECT_EQ(arrays.ok(), expected) << depth;
        EXPECT_EQ(propertylist::parse(repeated("{a=", depth) + "b" + repeated("}", depth)).ok(), expected)
            << depth;
    }
    Value deep;
    for (int level = 0; level < 511; ++level)
        deep = Value(Value::Array{deep});
    const Value deepest(Value::Array{Value("leaf"), deep});
    EXPECT_EQ(readBack(deepest).array()->size(), 2U);
}

// The time values of a large batch, and a text that consists of references.
TEST(PropertyList, ReadingTakesTimeInProportion)
{
    const double begin = platform::monotonicSeconds();
    const auto batch = propertylist::parse(xml("<array>"
        + repeated(
            "<dict><key>Argument</key><string>--n 5</string><key>Time Value</key><real>0.5</real></dict>\n",
            10000)
        + "</array>"));
    ASSERT_TRUE(batch && batch->array());
    EXPECT_EQ(batch->array()->size(), 10000U);
    const auto references = propertylist::parse(xml("<string>" + repeated("&amp;", 1'000'000) + "</string>"));
    ASSERT_TRUE(references && references->text());
    EXPECT_EQ(references->text()->size(), 1'000'000U);
    EXPECT_LT(platform::monotonicSeconds() - begin, 10); // Some tens of milliseconds without a sanitizer.
}

// A file of the binary form, put together object by object.
class BinaryFile {
public:
    std::uint8_t add(std::string object)
    {
        offsets_ += static_cast<char>(bytes_.size() >> 8);
        offsets_ += static_cast<char>(bytes_.size() & 0xFF);
        bytes_ += object;
        return static_cast<std::uint8_t>(count_++);
    }
    static std::string list(char kind, std::initializer_list<int> references)
    {
        std::string object(1, static_cast<char>(kind << 4 | static_cast<int>(references.size())));
        if (kind == 0xD)
            object[0] = static_cast<char>(0xD0 | static_cast<int>(references.size() / 2));
        for (const int reference : references)
            object += static_cast<char>(reference);
        return object;
    }
    std::string finish(int top = 0) const
    {
        std::string trailer(32, '\0');
        trailer[6] = 2;
        trailer[7] = 1;
        trailer[15] = static_cast<char>(count_);
        trailer[23] = static_cast<char>(top);
        trailer[30] = static_cast<char>(bytes_.size() >> 8);
        trailer[31] = static_cast<char>(bytes_.size() & 0xFF);
        return bytes_ + offsets_ + trailer;
    }

private:
    std::string bytes_ = "bplist00";
    std::string offsets_;
    int count_ = 0;
};

std::string bytesOf(std::initializer_list<int> bytes)
{
    std::string result;
    for (const int byte : bytes)
        result += static_cast<char>(byte);
    return result;
}

std::string hex(std::string_view digits)
{
    std::string result;
    for (std::size_t i = 0; i < digits.size(); i += digits[i] == ' ' ? 1 : 2)
        if (digits[i] != ' ')
            result += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
    return result;
}

std::string numbersFromOne(int count)
{
    std::string result;
    for (int number = 1; number <= count; ++number)
        result += bytesOf({number >> 8, number & 0xFF});
    return result;
}

std::string everyKindInBinary()
{
    BinaryFile file;
    file.add(hex("DB 0102030405060708090A0B 0C0D0E0F10111213141516"));
    for (char key = 'a'; key <= 'k'; ++key)
        file.add(std::string("\x51") + key);
    for (const char* object : {"10 FF", "13 FFFFFFFFFFFFFFFE", "14 0000000000000000 8000000000000000",
             "22 3FC00000", "23 BFF0000000000000", "33 3FF0000000000000", "42 00FF",
             "5F 1010 7878787878787878 7878787878787878", "63 20AC D83D DE00", "A2 0C0C", "09"})
        file.add(hex(object));
    return file.finish();
}

std::string objectAlone(const std::string& object)
{
    BinaryFile file;
    file.add(object);
    return file.finish();
}

TEST(BinaryPropertyList, ReadsEachObjectAsItIsWrittenAndEveryKindInOne)
{
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const std::pair<std::string, Value> cases[] = {{hex("00"), Value()}, {hex("08"), false},
        {hex("11 FFFE"), 65534}, {hex("12 FFFFFFFE"), std::int64_t{4294967294}},
        {hex("14 FFFFFFFFFFFFFFFF FFFFFFFFFFFFFFFD"), -3}, {"\x73\xE2\x82\xAC", "€"},
        {hex("5F 11000F") + std::string(15, 'x'), std::string(15, 'x')},
        {hex("5F 130000000000000001 78"), "x"}, {hex("80 07"), Value(Value::Dictionary{{"CF$UID", 7}})},
        {hex("87 7FFFFFFFFFFFFFFF"), Value(Value::Dictionary{{"CF$UID", most}})},
        {hex("64 D800 DC00 DBFF DFFF"), "\U00010000\U0010FFFF"},
        {hex("64 DC00 D800 0041 E000"), "\uFFFD\uFFFDA\uE000"}, {hex("B0"), Value(Value::Array())},
        {hex("C0"), Value(Value::Array())}, {hex("D0"), Value(Value::Dictionary())}};
    for (const auto& [object, value] : cases) {
        const auto result = propertylist::parse(objectAlone(object));
        EXPECT_EQ(result, value) << testing::PrintToString(object) << complaintOf(result);
    }

    const Value expected(Value::Dictionary{{"a", 255}, {"b", -2}, {"c", 9223372036854775808.0}, {"d", 1.5},
        {"e", -1.0}, {"f", Value(Value::Date{978307201})}, {"g", Value(Value::Data{0, 255})},
        {"h", std::string(16, 'x')}, {"i", "€😀"}, {"j", Value(Value::Array{255, 255})}, {"k", true}});
    const auto result = propertylist::parse(everyKindInBinary());
    EXPECT_EQ(result, expected) << complaintOf(result) << propertylist::toXml(result.value_or(Value()));
}

TEST(BinaryPropertyList, AnObjectThatRunsPastItsEndIsUnreadable)
{
    const char* const objects[] = {"01", "0F", // Constants without a meaning.
        "14 0000000000000001 0000000000000000", // Beyond 64 bits.
        "87 8000000000000000", // No number with a sign.
        "11 01", "13 010203", "22 0102", "21 0000", "33 0102", "42 01", "52 61", "72 61", "62 006100",
        "61 D800", "71 FF", "51 FF", "4F", "4F 2000", "4F 1100", "4F 117FFF", "4F 13FFFFFFFFFFFFFFFF",
        "6F 138000000000000001 0061", "81 01", "88 000000000000000001", "A2 00", "A1 01", "AF 127FFFFFFF",
        "D1 00", "D1 0101", "DF 127FFFFFFF", "90", "E0", "F0",
        "15 0101010101010101 0101010101010101 0101010101010101 0101010101010101"};
    for (const char* object : objects)
        EXPECT_FALSE(propertylist::parse(objectAlone(hex(object)))) << object;

    BinaryFile dictionary; // A value that can't be read, under a key that can.
    dictionary.add(BinaryFile::list(0xD, {1, 2}));
    dictionary.add("\x51k");
    dictionary.add("\xF0");
    EXPECT_THAT(complaintOf(propertylist::parse(dictionary.finish())), HasSubstr("unknown kind 15"));
}

TEST(BinaryPropertyList, ATrailerThatDoesNotFitIsRefused)
{
    const std::string whole = objectAlone("\x09");
    ASSERT_TRUE(propertylist::parse(whole));
    const std::size_t trailer = whole.size() - 32;
    const std::pair<std::size_t, int> changes[] = {
        {6, 0}, {6, 9}, {7, 0}, {7, 9}, // Widths of offsets and references.
        {15, 0}, {15, 2}, {8, 1}, // How many objects.
        {23, 1}, {16, 1}, // The top object.
        {31, 7}, {31, 12}, {24, 1}, // Where the table is.
    };
    for (const auto& [place, byte] : changes) {
        std::string changed = whole;
        changed[trailer + place] = static_cast<char>(byte);
        EXPECT_THAT(complaintOf(propertylist::parse(changed)), HasSubstr("table of contents is damaged"))
            << place << " " << byte;
    }
    for (const char offset : {'\7', '\x0B'}) { // Before the objects, and behind them.
        std::string changed = whole;
        changed[trailer - 1] = offset;
        EXPECT_FALSE(propertylist::parse(changed));
    }
}

TEST(BinaryPropertyList, CutOrChangedAnywhereItNeverLeadsOutOfTheFile)
{
    const std::string whole = everyKindInBinary();
    for (std::size_t size = 0; size < whole.size(); ++size)
        std::ignore = propertylist::parse(whole.substr(0, size));
    for (std::size_t place = 8; place < whole.size(); ++place)
        for (const int byte : {0x00, 0x0F, 0x7F, 0x80, 0xAF, 0xDF, 0xFF}) {
            std::string changed = whole;
            changed[place] = static_cast<char>(byte);
            std::ignore = propertylist::parse(changed);
        }
}

TEST(BinaryPropertyList, SharedObjectsNeverMultiplyWithoutBound)
{
    BinaryFile cycle;
    cycle.add(BinaryFile::list(0xA, {1}));
    cycle.add(BinaryFile::list(0xA, {0}));
    EXPECT_THAT(complaintOf(propertylist::parse(cycle.finish())), HasSubstr("contains itself"));

    BinaryFile doubling; // Thirty levels that each hold the next one twice.
    for (int level = 0; level < 30; ++level)
        doubling.add(BinaryFile::list(0xA, {level + 1, level + 1}));
    doubling.add("\x09");
    EXPECT_THAT(complaintOf(propertylist::parse(doubling.finish())), HasSubstr("more values"));

    // A chain of 400 levels is read first, and then hangs below 399 others.
    constexpr int kObjects = 801;
    std::string chain = "bplist00", places;
    for (int number = 0; number < kObjects; ++number) {
        places += bytesOf({static_cast<int>(chain.size()) >> 8, static_cast<int>(chain.size()) & 0xFF});
        if (number == 0)
            chain += bytesOf({0xA2, 400 >> 8, 400 & 0xFF, 0, 1});
        else
            chain += number < kObjects - 1 ? bytesOf({0xA1, (number + 1) >> 8, (number + 1) & 0xFF}) : "\x09";
    }
    std::string end = std::string(6, '\0') + bytesOf({2, 2});
    for (const int value : {kObjects, 0, static_cast<int>(chain.size())})
        end += std::string(6, '\0') + bytesOf({value >> 8, value & 0xFF});
    EXPECT_THAT(complaintOf(propertylist::parse(chain + places + end)), HasSubstr("nested more than 512"));

    // One text, many times; many objects at one place; more objects than bytes to hold them.
    const struct {
        std::string references;
        std::uint32_t count;
        std::string object;
        std::string_view complaint;
    } floods[] = {
        {std::string(65536, '\x01'), 2, bytesOf({0x5F, 0x11, 0xF0, 0}) + std::string(0xF000, 'x'),
            "out of all proportion"},
        {numbersFromOne(3000), 3001, bytesOf({0x4F, 0x11, 0xF0, 0}) + std::string(0xF000, 'x'),
            "out of all proportion"},
        {numbersFromOne(3), 70000, "\x09", "table of contents is damaged"},
    };
    for (const auto& [references, count, object, complaint] : floods) {
        const auto number = [](std::size_t value) {
            return bytesOf({0, static_cast<int>(value >> 16), static_cast<int>(value >> 8 & 0xFF),
                static_cast<int>(value & 0xFF)});
        };
        const std::size_t width = count == 2 ? 1 : 2;
        const std::string file =
            "bplist00" + bytesOf({0xAF, 0x12}) + number(references.size() / width) + references + object;
        std::string offsets = number(8);
        for (std::uint32_t index = 1; index < count; ++index)
            offsets += number(14 + references.size());
        std::string trailer = std::string(6, '\0') + bytesOf({4, static_cast<int>(width)});
        for (const std::size_t value : {std::size_t{count}, std::size_t{0}, file.size()})
            trailer += std::string(4, '\0') + number(value);
        EXPECT_THAT(complaintOf(propertylist::parse(file + offsets + trailer)), HasSubstr(complaint));
    }

    BinaryFile key;
    key.add(BinaryFile::list(0xD, {1, 1}));
    key.add("\x09");
    EXPECT_THAT(complaintOf(propertylist::parse(key.finish())), HasSubstr("no text"));
}

TEST(OldStylePropertyList, ReadsTheFormAsPeopleMeetIt)
{
    const std::pair<const char*, Value> cases[] = {
        {"// !$*UTF8*$!\n{ a = b; /* c */ \"k \\\" q\" = ( 1, x.y-z_$/+, ); }",
            Value(Value::Dictionary{{"a", "b"}, {"k \" q", Value(Value::Array{"1", "x.y-z_$/+"})}})},
        {"{a=b}", Value(Value::Dictionary{{"a", "b"}})},
        {"{}", Value(Value::Dictionary())},
        {"( a, b )", Value(Value::Array{"a", "b"})},
        {"(a/* one */,/* two */'b c'// three\n)", Value(Value::Array{"a", "b c"})},
        {"(http://host/x, a//comment\n)", Value(Value::Array{"http://host/x", "a"})},
        {R"(("\n\t\"\\\a\b\f\v\r\'\z", "\101\60\3511", "\U00e9\Ud83d\Ude00\Ud83dx\U12"))",
            Value(Value::Array{"\n\t\"\\\a\b\f\v\r'z",
                "A0\u00E9"
                "1",
                "é😀\uFFFDxU12"})},
        {"(\"two\nlines\", \"// no /* comment\", ünïcode)",
            Value(Value::Array{"two\nlines", "// no /* comment", "ünïcode"})},
        {"( <0fbd 77>, <>, < /* none */ 0A > )",
            Value(Value::Array{
                Value(Value::Data{0x0F, 0xBD, 0x77}), Value(Value::Data()), Value(Value::Data{10})})},
        {"/* Strings */\n\"Key\" = \"Value\";\nOther;\nlast = { x = y }",
            Value(Value::Dictionary{
                {"Key", "Value"}, {"Other", "Other"}, {"last", Value(Value::Dictionary{{"x", "y"}})}})},
        {"\xEF\xBB\xBF{a=b;}", Value(Value::Dictionary{{"a", "b"}})},
        {"<0fbd>", Value(Value::Data{0x0F, 0xBD})},
    };
    for (const auto& [text, value] : cases) {
        const auto result = propertylist::parse(text);
        EXPECT_EQ(result, value) << text << "\n"
                                 << complaintOf(result) << propertylist::toXml(result.value_or(Value()));
    }
    const std::string utf16("\xFF\xFE{\0a\0=\0\xE9\0}\0", 12);
    EXPECT_EQ(propertylist::parse(utf16), Value(Value::Dictionary{{"a", "é"}}));
    EXPECT_EQ(propertylist::parseOldStyle(" word "), Value("word"));
}

TEST(OldStylePropertyList, WhatIsDamagedIsUnreadableAndSaysWhere)
{
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"line 2: a ';' is missing", {"{ a = b;\n c d = e; }"}},
        {"line 3: a ';' is missing", {"a = b;\n\nc d;"}},
        {"';' is missing", {"{a = b\x01;}"}},
        {"begins no value", {"{ a = ; }", "(a,,b)", "a = ;"}},
        {"line 1: a dictionary that doesn't end", {"{\n a = b;"}},
        {"a ',' is missing", {"(a b)", "a = (b; c = d;"}},
        {"an array that doesn't end", {"(a"}},
        {"quotation mark", {"{a = \"b;}", "{a = \"b\\"}},
        {"comment that doesn't end",
            {"{a = b; /* }", "/* x", "(/* x", "(a /* x", "(a, /* x", "{a /* x", "{a = /* x", "{a = b /* x",
                "(<0f /* x", "{a = b;} /* x", "a = b; /* x"}},
        {"it ends where a value belongs", {"{a = "}},
        {"hexadecimal", {"{a = <0f g0>;}"}},
        {"half a byte", {"{a = <0f1>;}"}},
        {"behind the end", {"{a = b;} trailing"}},
        {"no value", {"// nothing else"}},
        {"isn't UTF-8", {"{a = \"\xFF\";}"}},
        {"middle of a character", {"\xFF\xFE{"}},
    };
    for (const auto& [reason, texts] : cases)
        for (const char* text : texts)
            EXPECT_THAT(complaintOf(propertylist::parse(text)), HasSubstr(reason)) << text;
}

TEST(PropertyListFile, MissingUnreadableAndReadAreToldApart)
{
    const TemporaryFolder folder;
    for (const char* name : {"absent", "absent/below"})
        EXPECT_TRUE(propertylist::readFile(folder / name)->isNull());
    EXPECT_THAT(
        complaintOf(propertylist::readFile(folder.path())), HasSubstr(folder.path() + " is a folder"));
    EXPECT_TRUE(files::writeFile(folder / "torn", "<plist><dict>"));
    EXPECT_THAT(complaintOf(propertylist::readFile(folder / "torn")), HasSubstr(folder / "torn"));
    EXPECT_TRUE(propertylist::writeAtomically(Value(Value::Dictionary{{"a", 1}}), folder / "list"));
    EXPECT_EQ(propertylist::readFile(folder / "list")->find("a")->integer(), 1);
    EXPECT_FALSE(propertylist::writeAtomically(Value(), folder / "list"));
    EXPECT_FALSE(propertylist::writeAtomically(Value(1), folder / "absent/list"));
    EXPECT_THAT(*files::contentsOfDirectory(folder.path()), UnorderedElementsAre("torn", "list"));
}

TEST(SecretStore, KeepsSecretsForTheOwnerAloneAndLeavesADamagedFileAlone)
{
    const TemporaryFolder folder;
    const std::string path = folder / "own/Secrets.plist";
    platform::SecretStore store(path);
    const std::string secret("p\x01\0\xFFw", 5);
    EXPECT_EQ(store.find("host", "me"), std::nullopt);
    EXPECT_TRUE(store.store("host", "me", secret) && store.store("host", "you", "other"));
    EXPECT_EQ(files::attributes(path)->permissions, 0600U);
    EXPECT_TRUE(files::setPermissions(path, 0644) && store.store("elsewhere", "me", "third"));
    EXPECT_EQ(files::attributes(path)->permissions, 0600U);
    EXPECT_EQ(store.find("host", "me"), secret);
    EXPECT_TRUE(store.remove("host", "me"));
    EXPECT_FALSE(store.remove("host", "me"));
    EXPECT_EQ(store.find("host", "me"), std::nullopt);
    EXPECT_EQ(store.find("host", "you"), "other");
    for (const char* damaged : {"<plist><dict>", "( a, b )"}) {
        EXPECT_TRUE(files::writeFile(path, damaged));
        EXPECT_FALSE(store.store("host", "me", "x") || store.remove("host", "me"));
        EXPECT_FALSE(store.find("host", "me")) << "not the same as none";
        EXPECT_EQ(files::readFile(path), damaged);
    }
}

} // namespace
