#include "text/RtfText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using toolkit::RichText;

RichText notes()
{
    RichText text;
    text.append({"plain {\\} \u00e4\u20ac\U0001F600\ttab\n"});
    text.append({"bold", true});
    text.append({"both\n", true, true});
    text.append({"u", false, false, true});
    return text;
}

TEST(RtfText, ReadsBackWhatItWrites)
{
    const auto read = RtfText::read(RtfText::write(notes()));
    ASSERT_TRUE(read.ok());
    EXPECT_EQ(read->text, notes());
    EXPECT_TRUE(read->isWhole);
    EXPECT_EQ(RtfText::read(RtfText::write(RichText()))->text, RichText());
    EXPECT_EQ(RtfText::read(RtfText::write(RichText("a\xff"
                                                    "b")))
                  ->text.plain(),
        "a\uFFFDb");
}

TEST(RtfText, UnderstandsOtherWritersAndKnowsWhatItWouldLose)
{
    const struct {
        const char* document;
        const char* plain;
        bool isWhole;
    } cases[] = {
        {"{\\rtf1\\ansi a\\par\r\nb}", "a\nb", true},
        {"{\\rtf1 caf\\'e9 \\u8364 ? \\uc0\\u8364 x \\'93q\\'94}", "caf\u00e9 \u20ac \u20acx \u201cq\u201d",
            true},
        {"{\\rtf1{\\fonttbl{\\f0\\fswiss Helvetica;}}\\f0\\fs24 x}", "x", true},
        {"{\\rtf1 a\\fs36 b}", "ab", false},
        {"{\\rtf1 a{\\*\\generator G;}b}", "ab", false},
        {"{\\rtf1 a{\\pict 00ff}b}", "a00ffb", false},
        {"{\\rtf1 \\u-10179?\\u-8704?}", "\U0001F600", true},
        {"{\\rtf1 \\u-10179?x}", "\uFFFDx", true},
        {"{\\rtf1 a}{trailing}", "a", true},
    };
    for (const auto& [document, plain, isWhole] : cases) {
        const auto read = RtfText::read(document);
        ASSERT_TRUE(read.ok()) << document;
        EXPECT_EQ(read->text.plain(), plain) << document;
        EXPECT_EQ(read->isWhole, isWhole) << document;
    }
}

TEST(RtfText, RefusesWhatIsTornOrNoRichText)
{
    const std::string whole = RtfText::write(notes());
    for (std::size_t size = 0; size + 2 < whole.size(); ++size)
        EXPECT_FALSE(RtfText::read(whole.substr(0, size))) << size;
    EXPECT_FALSE(RtfText::read("plain text"));
    const auto deep = RtfText::read("{\\rtf1 " + std::string(100000, '{') + "x");
    EXPECT_TRUE(!deep || !deep->isWhole);
}

} // namespace
