// Growing byte strings and the lists of them that lie in files.

#include "TestMessages.h"
#include "text/strings/KRUTF8StringList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

using Texts = std::vector<std::string>;

std::string csv(const char* text)
{
    KRUTF8String string;
    string.appendUTF8ForCSV(text, text ? static_cast<std::int64_t>(std::strlen(text)) : 5);
    EXPECT_EQ(string.UTF8String()[string.length()], 0);
    return string.asString();
}

std::string written(double number)
{
    KRUTF8String string;
    string.appendDouble(number);
    return string.asString();
}

TEST(KRUTF8String, AppendsAndGrows)
{
    KRUTF8String string;
    EXPECT_STREQ(string.UTF8String(), "");
    EXPECT_EQ(string.description(), "(empty description)");
    string.appendCharacter('a');
    string.appendUTF8("bc");
    string.appendUTF8("defg", 2);
    string.appendUTF8("never", -1);
    string.appendUTF8(nullptr);
    string.appendUTF8(nullptr, 3);
    string.appendString("é");
    string.appendInteger(std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(string.asString(), "abcdeé-9223372036854775808");
    const auto other = KRUTF8String::createWithString("xyz");
    string.replaceWithString("1");
    for (int i = 0; i < 10; ++i) {
        string.appendUTFString(string); // Its own bytes, while the block moves.
        string.appendUTFString(*other);
    }
    EXPECT_EQ(string.length(), 1024 + 3 * 1023);
    EXPECT_EQ(string.view().substr(0, 9), "11xyz11xy");
    EXPECT_EQ(string.description(), "string with 4093 characters");
    std::int64_t length = 0;
    EXPECT_EQ(string.UTF8StringAndLength(length)[length], 0);
    EXPECT_EQ(length, string.length());
    string.clear();
    EXPECT_STREQ(string.UTF8String(), "");
    EXPECT_EQ(KRUTF8String::createWithBytes("a\xff", 2)->asString(), "<invalid>");
    EXPECT_EQ(KRUTF8String::createWithString(std::string(1000, 'a'))->description(), std::string(1000, 'a'));
}

TEST(KRUTF8String, ReportsMisuse)
{
    TestMessages messages;
    const auto made = KRUTF8String::createWithString("text");
    made->appendString(" more"); // A message without text isn't shown.
    EXPECT_EQ(made->asString(), "text more");
    EXPECT_EQ(messages.take(), Texts{});
    EXPECT_EQ(made->underlyingUTF8String(), nullptr);
    made->prepareForCapacity(100);
    EXPECT_EQ(messages.take(), (Texts{"Not mutable", "Not mutable"}));
    made->setMutable(true);
    made->prepareForCapacity(12);
    std::memcpy(made->underlyingUTF8String(), "TEXT more now", 13);
    made->resetLength(12);
    EXPECT_EQ(made->asString(), "TEXT more no");
    for (const std::int64_t capacity :
        {std::int64_t{5}, std::int64_t{-1}, INT64_MIN}) // There is more already.
        made->prepareForCapacity(capacity);
    EXPECT_EQ(messages.take(), Texts{});
    made->prepareForCapacity(INT64_MAX);
    EXPECT_EQ(messages.take(), Texts{"Invalid capacity"});
    EXPECT_EQ(made->asString(), "TEXT more no");
    for (const std::int64_t length : {14, -1})
        made->resetLength(length);
    made->replaceContentWith(nullptr, 4);
    made->replaceWithUTF8(nullptr);
    made->appendCharacter('\xc3');
    EXPECT_EQ(KRUTF8String::createWithBytes(nullptr, 1), nullptr);
    EXPECT_EQ(messages.take(),
        (Texts{"Invalid length", "Invalid length", "Nil", "Nil", "Character needs to be 7 bits", "Nil"}));
    EXPECT_EQ(made->asString(), "TEXT more no");
    EXPECT_FALSE(made->copy()->isMutable());
    EXPECT_TRUE(KRUTF8String::createWithCapacity(3)->isMutable());
}

TEST(KRUTF8String, WritesValuesBetweenCommas)
{
    const std::pair<const char*, const char*> cases[] = {{nullptr, ""}, {"", ""}, {"plain", "plain"},
        {"a,b", "\"a,b\""}, {"a;b", "\"a;b\""}, {"say \"x\"", "\"say \"\"x\"\"\""}, {"\"", "\"\"\"\""},
        {"two\nlines", "two\nlines"}};
    for (const auto& [value, cell] : cases)
        EXPECT_EQ(csv(value), cell);
}

TEST(KRUTF8String, WritesNumbersWithFifteenDigits)
{
    const std::pair<double, const char*> cases[] = {{0, "0"}, {-0.0, "0"}, {1, "1"}, {-2.5, "-2.5"},
        {0.1 + 0.2, "0.3"}, {99999, "99999"}, {100000, "1e5"}, {123456.5, "1.234565e5"}, {0.0001, "0.0001"},
        {0.00001, "1e-5"}, {1.0 / 3, "0.333333333333333"}, {-1e-300, "-1e-300"},
        {1.7976931348623157e308, "1.79769313486232e308"}, {NAN, "NaN"}, {INFINITY, "∞"}, {-INFINITY, "-∞"}};
    for (const auto& [number, text] : cases)
        EXPECT_EQ(written(number), text);
}

TEST(KRUTF8String, FindsCutsAndReplaces)
{
    const auto string = KRUTF8String::createWithString("\"a,b,,c\"");
    EXPECT_EQ(string->locationOfCharacter(','), 2);
    EXPECT_EQ(string->locationOfCharacter('x'), -1);
    EXPECT_EQ(string->locationOfUTF8String(",,"), 4);
    EXPECT_EQ(string->locationOfUTF8String(",", 3), 4);
    EXPECT_EQ(string->locationOfUTF8String(",", 6), -1);
    EXPECT_EQ(string->locationOfUTF8String(nullptr), -1);
    EXPECT_TRUE(string->hasPrefixUTF8("\"a"));
    EXPECT_FALSE(string->hasPrefixUTF8("a"));
    EXPECT_FALSE(string->hasPrefixUTF8(nullptr));
    EXPECT_EQ(string->utf8SubstringToIndex(2)->asString(), "\"a");
    EXPECT_EQ(string->utf8SubstringFromIndex(6)->asString(), "c\"");
    EXPECT_EQ(string->utf8SubstringFromIndex(60)->asString(), "");
    EXPECT_EQ(string->utf8SubstringWithRange(3, 2)->asString(), "b,");
    EXPECT_EQ(string->utf8SubstringWithRange(-3, 2)->asString(), "\"a");
    EXPECT_EQ(string->utf8StringByAppendingString("!")->asString(), "\"a,b,,c\"!");
    string->removeQuotes();
    string->removeCharacterFromEnd('x');
    EXPECT_EQ(string->asString(), "a,b,,c");
    string->removeQuotes();
    string->removeCharacterFromEnd('c');
    EXPECT_TRUE(string->isEqualToUTF8("a,b,,"));
    string->replaceCharacter(',', "--");
    EXPECT_TRUE(string->isEqual(*KRUTF8String::createWithString("a--b----")));
    EXPECT_FALSE(string->isEqualToUTF8(nullptr));
    string->replaceWithUTF8("a\"\"b\"\"\"c\"");
    string->replaceDoubleQuoteWithSingleQuote();
    EXPECT_EQ(string->asString(), "a\"b\"\"c\"");
    string->replaceWithUTF8("\"");
    string->removeQuotes();
    EXPECT_EQ(string->asString(), "\"");
}

Texts textsOf(const KRUTF8StringList& list)
{
    Texts texts;
    for (std::int64_t i = 0; i < list.count(); ++i)
        texts.push_back(list.stringAtIndex(i)->asString());
    return texts;
}

KRUTF8StringList::Bytes::Pointer bytesOf(std::string_view text)
{
    auto bytes = KRUTF8StringList::Bytes::createArrayOfLength(static_cast<long>(text.size()));
    std::copy(text.begin(), text.end(), bytes->mutablePointer());
    return bytes;
}

TEST(KRUTF8StringList, KeepsStringsInOneBlock)
{
    TestMessages messages;
    const auto list = KRUTF8StringList::createWithCapacity(4);
    EXPECT_EQ(list->pointer(), nullptr);
    list->append("one");
    list->appendEmpty();
    list->append(std::string_view("cut\0here", 8));
    list->appendInteger(-7);
    list->appendDouble(0.5);
    list->appendEmptyRows(2);
    EXPECT_EQ(list->description(), "string list - 18 bytes - 7 lines");
    EXPECT_EQ(list->positionInPointer(), 18);
    EXPECT_EQ(list->startPointer()[2], 5);
    EXPECT_STREQ(list->pointer() + 5, "cut");
    list->trimEmptyRowsFromEnd();
    EXPECT_EQ(textsOf(*list), (Texts{"one", "", "cut", "-7", "0.5"}));
    list->appendList(*list);
    EXPECT_EQ(list->numberOfRows(), 10);
    list->setNumberOfRows(6);
    list->removeLastString();
    list->setNumberOfRows(7);
    EXPECT_EQ(textsOf(*list), (Texts{"one", "", "cut", "-7", "0.5", "", ""}));
    KRUTF8String into;
    list->copyStringAtIndex(2, into);
    EXPECT_EQ(into.asString(), "cut");
    EXPECT_EQ(messages.take(), Texts{});
    EXPECT_EQ(list->stringAtIndex(7), nullptr);
    list->copyStringAtIndex(-1, into);
    EXPECT_EQ(messages.take(), (Texts{"Out of bounds", "Out of bounds"}));
    EXPECT_EQ(into.asString(), "cut");
    for (int i = 0; i < 5000; ++i)
        list->append(std::to_string(i));
    EXPECT_EQ(list->viewAtIndex(7 + 4999), "4999");
    list->setNumberOfRows(-1);
    list->removeLastString();
    EXPECT_EQ(list->count(), 0);
    EXPECT_EQ(list->positionInPointer(), 0);
}

TEST(KRUTF8StringList, ABlockThatWasHandedOutStaysAsItIs)
{
    KRUTF8StringList list;
    list.append("first");
    list.append("second");
    const auto bytes = list.utf8ByteStream();
    ASSERT_EQ(bytes->length(), 13);
    list.removeLastString();
    list.append("x");
    list.compactMemory();
    EXPECT_EQ(list.utf8ByteStream()->length(), 8);
    EXPECT_EQ(textsOf(*KRUTF8StringList::createWithBytes(bytes)), (Texts{"first", "second"}));
    EXPECT_EQ(textsOf(list), (Texts{"first", "x"}));
}

TEST(KRUTF8StringList, ReadsBlocksOfFiles)
{
    const auto starts = [](std::string_view text) {
        const auto found = KRUTF8StringList::computeOffsetsFromUTF8Stream(bytesOf(text));
        return std::vector<std::int32_t>(found->constPointer(), found->constPointer() + found->length());
    };
    EXPECT_EQ(starts({"one\0\0three\0", 11}), (std::vector<std::int32_t>{0, 4, 5}));
    EXPECT_EQ(starts({"torn\0off", 8}), (std::vector<std::int32_t>{0, 5}));
    EXPECT_EQ(starts({"\0", 1}), std::vector<std::int32_t>{0});
    EXPECT_TRUE(starts("").empty());
    EXPECT_EQ(KRUTF8StringList::computeOffsetsFromUTF8Stream(nullptr), nullptr);
    EXPECT_EQ(KRUTF8StringList::createWithBytes(nullptr), nullptr);
    const auto torn = KRUTF8StringList::createWithBytes(bytesOf({"torn\0off", 8}));
    EXPECT_EQ(textsOf(*torn), (Texts{"torn", "off"}));
    torn->append("more");
    EXPECT_EQ(textsOf(*torn), (Texts{"torn", "off", "more"}));
    EXPECT_EQ(KRUTF8StringList::createWithBytes(bytesOf(""))->count(), 0);
    const Texts texts{"", "a", "", "bc", ""};
    const auto bytes = KRUTF8StringList::utf8BytesFromStringList(texts);
    ASSERT_EQ(bytes->length(), 8);
    EXPECT_EQ(textsOf(*KRUTF8StringList::createWithBytes(bytes)), texts);
    EXPECT_EQ(KRUTF8StringList::utf8BytesFromStringList({})->length(), 0);
}

} // namespace
