#include "arrays/containers/KRArrayTextInput.h"

#include "arrays/containers/KROneLineText.h"
#include "arrays/containers/KRTableText.h"
#include "arrays/containers/text_testing.h"
#include "diagnostics/ShownProgress.h"
#include "toolkit/Controls.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fmt/format.h>
#include <random>
#include <sys/stat.h>
#include <thread>
#include <tuple>

using namespace containertest;

namespace {

using Doubles = KRArrayTextInput<double>;

std::string tableOf(const std::string& text, long skipLines = 0)
{
    return shown(Doubles::readInContentFromFile(TextFile(text).path(), skipLines));
}

std::string newTableOf(const std::string& text, long skipLines = 0, long skipLinesAtEnd = 0)
{
    return shown(Doubles::readInContentFromFileNew(TextFile(text).path(), skipLines, skipLinesAtEnd));
}

TEST(TextTable, HasALineForEachRowButThoseSkippedAtBothEnds)
{
    const std::pair<const char*, const char*> cases[] = {{"1 2\n3 4\n5 6\n", "3x2x1: 1 3 5 2 4 6"},
        {"1,2;3,4", "2x2x1: 1 3 2 4"}, {"\n\n 1\t,2 \r\n\r\n3 4\r5,,6,\n\n", "3x2x1: 1 3 5 2 4 6"},
        {"1\n2\n3", "3x1x1: 1 2 3"}, {"1 2 3", "1x3x1: 1 2 3"}, {"1-2 inf\n", "1x3x1: 1 -2 inf"},
        {"", "0x0x0:"}, {" \n ,\n", "0x0x0:"}};
    for (const auto& [text, table] : cases) {
        EXPECT_THAT(messagesOf([&] { EXPECT_EQ(tableOf(text), table) << text; }), IsEmpty());
        EXPECT_THAT(messagesOf([&] { EXPECT_EQ(newTableOf(text), table) << text; }), IsEmpty());
    }
    EXPECT_EQ(
        shown(KRArrayTextInput<float>::readInContentFromFile(TextFile("0.1 2\n").path(), 0)), "1x2x1: 0.1 2");
    EXPECT_EQ(shown(KRArrayTextInput<std::int32_t>::readInContentFromFile(TextFile("3 -4").path(), 0)),
        "1x2x1: 3 -4");

    EXPECT_EQ(tableOf("a\r\nb;1 2\n", 2), "1x2x1: 1 2");
    EXPECT_EQ(tableOf("1\n2\n", 5), "0x0x0:");
    EXPECT_EQ(newTableOf("a\nb\r\n1\n2\n3\nsum\n6\n", 2, 2), "3x1x1: 1 2 3");
    for (const char* text : {"1\n2\nend", "1\n2\r\nend\r\n", "1\n2\n\n"})
        EXPECT_EQ(newTableOf(text, 0, 1), "2x1x1: 1 2");
    for (const long all : {2L, 3L, kMost})
        EXPECT_EQ(newTableOf("1\n2", 0, all), "0x0x0:");
    EXPECT_EQ(newTableOf("1\n2", -1, -1), "2x1x1: 1 2");
}

TEST(TextTable, EndsBeforeAShortLine)
{
    const TextFile file("head\n1 2 3\n4 5 6\n\n7 8 \n9 10 11\n");
    for (const bool isNew : {false, true}) {
        EXPECT_THAT(messagesOf([&] {
            const auto table = isNew ? Doubles::readInContentFromFileNew(file.path(), 1, 0)
                                     : Doubles::readInContentFromFile(file.path(), 1);
            EXPECT_EQ(shown(table), "2x3x1: 1 4 2 5 3 6");
        }),
            ElementsAre(fmt::format(
                "Error when reading \"{0}\"|Error when reading the file\n\"{0}\"\nCould only read 2 "
                "number(s) from line 5, but need to read 3 numbers to match previous line(s).\nThe content "
                "of this line is \n\"7 8 \"\nReturning...",
                file.path())));
    }
    const auto messages =
        messagesOf([] { EXPECT_EQ(tableOf("1 2\n1" + std::string(5000, ' ')), "1x2x1: 1 2"); });
    EXPECT_LT(messages.at(0).size(), 1500U); // The line isn't shown in full.
}

TEST(TextTable, EndsAtWhatIsNoNumber)
{
    const auto illegal = ElementsAre("Illegal characters found in text.");
    for (const auto& [text, table] :
        {std::pair{"1 2\n3 x\n5 6", "1x2x1: 1 2"}, {"x", "0x0x0:"}, {"1 2\n1.5D3 4", "1x2x1: 1 2"}}) {
        EXPECT_THAT(messagesOf([&] { EXPECT_EQ(tableOf(text), table); }), illegal);
        EXPECT_THAT(messagesOf([&] { EXPECT_EQ(newTableOf(text), table); }), illegal);
    }
    // Behind the numbers of a line the new form looks, too.
    EXPECT_THAT(messagesOf([] { EXPECT_EQ(tableOf("1 2\n3 4 x 5\n5 6"), "3x2x1: 1 3 5 2 4 6"); }), IsEmpty());
    EXPECT_THAT(messagesOf([] { EXPECT_EQ(newTableOf("1 2\n3 4 x\n5 6"), "1x2x1: 1 2"); }), illegal);
    const TextFile file("1 2\n3 4 5\n6 7");
    EXPECT_THAT(messagesOf([&] {
        EXPECT_EQ(shown(Doubles::readInContentFromFileNew(file.path(), 0, 0)), "2x2x1: 1 3 2 4");
    }),
        ElementsAre(fmt::format(
            "Error when reading \"{0}\"|Error when reading the file\n\"{0}\"\nMore than 2 number(s) in "
            "line 2.\nReturning everything up to and including that line",
            file.path())));
}

TEST(TextTable, ReportsAFileThatCannotBeRead)
{
    const svtest::ScratchFolder scratch;
    const std::string pipe = scratch / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path :
        {std::string("/nonexistent/a"), std::string("/tmp"), std::string("/dev/zero"), pipe}) {
        const std::string words =
            fmt::format("Internal: Could not read the content of a file.|Could not read the content of "
                        "the file \"{}\". Was asked to read in an array, but nothing will be returned.",
                path);
        EXPECT_THAT(messagesOf([&] {
            EXPECT_EQ(Doubles::readInContentFromFile(path, 0), nullptr);
            EXPECT_EQ(Doubles::readInContentFromFileNew(path, 0, 0), nullptr);
            EXPECT_EQ(Doubles::readInListFromFile(path, 0), nullptr);
        }),
            ElementsAre(words, words, words));
    }
}

// Longer than the pieces in which the new form reads, with line ends of two characters between them.
TEST(TextTable, LongFilesReadTheSameInPieces)
{
    std::string text;
    std::mt19937 random(3);
    long lines = 0;
    for (; text.size() < 5000000; ++lines)
        text += fmt::format("{},{}\t{:.17g}\r\n", lines, random(), std::ldexp(random(), -20));
    const TextFile file(text);
    const auto whole = Doubles::readInContentFromFile(file.path(), 0);
    EXPECT_EQ(whole->m(), lines);
    EXPECT_EQ(whole->valueAtI(lines - 1, 0), static_cast<double>(lines - 1));
    EXPECT_TRUE(whole->isEqualToArray(Doubles::readInContentFromFileNew(file.path(), 0, 0)));
    const auto cut = Doubles::readInContentFromFileNew(file.path(), 0, 70000);
    EXPECT_EQ(cut->m(), lines - 70000);
    const TextFile oneLine(std::string(3000000, ' ') + "7");
    EXPECT_EQ(shown(Doubles::readInContentFromFileNew(oneLine.path(), 0, 0)), "1x1x1: 7");
    // More numbers than an eighth of the text.
    std::string narrow(200000, ' ');
    for (std::size_t i = 0; i < narrow.size(); i += 2)
        narrow[i] = '1';
    EXPECT_EQ(Doubles::readInContentFromFile(TextFile(narrow).path(), 0)->n(), 100000);
}

// The line of progress of a table follows its reading, and its abort button ends it.
TEST(TextProgress, IsToldAndAborts)
{
    ShownProgress shownProgress;
    const auto entry = shownProgress.addEntry();
    const auto& line = shownProgress.line;
    ASSERT_TRUE(line);
    KRTableText<double> table("file", 0, KRTableText<double>::LongLine::IsCut, 0);
    table.reportTo(entry, 12000);
    std::string lines;
    for (int number = 0; number < 3000; ++number)
        lines += "1\n";
    EXPECT_TRUE(table.read(lines) && shownProgress.reaches(0.5F));
    line->abortButtonHit();
    EXPECT_FALSE(table.wasAborted() || table.read(lines));
    EXPECT_TRUE(table.wasAborted());
    EXPECT_EQ(Doubles::readFromFile(streamOf("1 2").get(), 2, 1, 1, entry), nullptr);
    EXPECT_TRUE(ShownProgress::within(
        [&] { return line->description()->stringValue() == "Parsing an integer array"; }));
}

TEST(TextProgress, IsNamedAfterTheVariableOrTheFile)
{
    ShownProgress shownProgress(KRProgressController::sharedController());
    std::string text;
    for (int number = 0; number < 1000000; ++number)
        text += "1.5\n";
    const TextFile file(text);
    // Reads on a worker until its line has shown.
    const auto expectLine = [&](const char* wanted, const std::function<void()>& read) {
        std::atomic<bool> enough = false;
        std::thread worker([&] {
            while (!enough)
                read();
        });
        EXPECT_TRUE(ShownProgress::within([&] {
            const auto lines = shownProgress.controller->visibleEntries();
            return std::ranges::any_of(
                lines, [&](const auto& line) { return line->description()->stringValue() == wanted; });
        })) << wanted;
        enough = true;
        worker.join();
    };
    expectLine("x: Parsing file.", [&] {
        Doubles::readInContentFromFile(file.path(), 0, KRProgressVariable{"x", 1});
    });
    expectLine("text: Parsing file.", [&] { Doubles::readInContentFromFileNew(file.path(), 0, 0); });
    expectLine("Parsing a double array", [&] { Doubles::readInListFromFile(file.path(), 0); });
}

TEST(TextList, ReadsAllNumbers)
{
    const auto listOf = [](const std::string& text, long skip = 0) {
        return shown(Doubles::readInListFromFile(TextFile(text).path(), skip));
    };
    EXPECT_EQ(listOf("1 2\n3;4,5\r\n"), "5x1x1: 1 2 3 4 5");
    EXPECT_EQ(listOf("head 1\r\nmore\n1") + listOf("1", 9), "0x0x0:0x0x0:");
    EXPECT_EQ(listOf("head 1\r\nmore\n1", 2), "1x1x1: 1");
    EXPECT_THAT(messagesOf([&] { EXPECT_EQ(listOf("1 2 x 3"), "2x1x1: 1 2"); }),
        ElementsAre("Illegal characters found in text."));
    EXPECT_EQ(shown(KRArrayTextInput<std::int32_t>::readInListFromFile(TextFile("1 3000000000").path(), 0)),
        "2x1x1: 1 -1294967296");
}

TEST(TextStream, ReadsExactlyTheNumbersOfTheArray)
{
    const auto stream = streamOf("1 2\n3 4.5 5 6 7");
    EXPECT_EQ(shown(Doubles::readFromFile(stream.get(), 2, 3, 1)), "2x3x1: 1 2 3 4.5 5 6");
    EXPECT_EQ(shown(KRArrayTextInput<std::int32_t>::readFromFile(stream.get(), 1, 1, 1)), "1x1x1: 7");
    EXPECT_TRUE(Doubles::readFromFile(stream.get(), 0, 1, 1)->isEmpty());
    const std::string words = "Could not read in the required number of values";
    EXPECT_THAT(messagesOf([&] {
        EXPECT_EQ(Doubles::readFromFile(streamOf("1 2").get(), 3, 1, 1), nullptr);
        EXPECT_EQ(KRArrayTextInput<float>::readFromFile(streamOf("1 x").get(), 3, 2, 1), nullptr);
        EXPECT_EQ(KRArrayTextInput<std::int32_t>::readFromFile(nullptr, 3, 1, 1), nullptr);
        const std::unique_ptr<std::FILE, CloseStream> folder(std::fopen("/tmp", "r"));
        EXPECT_EQ(Doubles::readFromFile(folder.get(), 3, 1, 1), nullptr);
    }),
        ElementsAre(words + " (double).|" + words + ".\nHit end of file after 2 of 3 numbers.",
            words + " (float).|" + words + ".\nCould read in 1 of 6 numbers.",
            words + " (int).|" + words + ".\nCould not read the file.",
            words + " (double).|" + words + ".\nCould not read the file."));
}

TEST(OneLine, HasTheFormsOfSimulationProgramsAndLeavesTheStreamBehindIt)
{
    const auto lineOf = [](const std::string& text, long maxLength = 100) {
        return shown(readInOneLineFrom(streamOf(text).get(), maxLength));
    };
    const std::pair<const char*, const char*> cases[] = {
        {"3*1.5, 2D1", "4x1x1: 1.5 1.5 1.5 20"},
        {"1.5D3 1.5E3 1.5d3,1.5e3", "4x1x1: 1500 1500 1500 1500"},
        {"inf INF Inf -inf -Infinity", "5x1x1: inf inf inf -inf -inf"},
        {"NaN nan\tNAN", "3x1x1: nan nan nan"},
        {"\xB0 -\xB0 2*\xB0", "4x1x1: inf -inf inf inf"},
        {"1 2 # 3", "2x1x1: 1 2"},
        {"1,,2\r\n3", "2x1x1: 1 2"},
        {"1 2 *7", "3x1x1: 1 7 7"},
        {"0*5 1", "1x1x1: 0"},
        {"1.5*5", "1x1x1: 1.5"},
        {"-2*5", "1x1x1: -2"},
        {"2*", "1x1x1: 2"},
        {"nan*5", "1x1x1: nan"},
        {"\n1", "0x0x0:"},
        {"x", "0x0x0:"},
        {"", "null"},
    };
    for (const auto& [text, line] : cases)
        EXPECT_EQ(lineOf(text), line) << text;
    // At most 30 bytes for each number.
    const std::tuple<std::string, long, const char*> limits[] = {{"1 2 3", 2, "2x1x1: 1 2"},
        {"1 1e300*4", 3, "3x1x1: 1 4 4"}, {"1 2 3*4", 3, "3x1x1: 1 2 4"},
        {std::string(31, ' ') + "1", 1, "0x0x0:"}, {std::string(29, ' ') + "12", 1, "1x1x1: 1"},
        {"1 2", 0, "0x0x0:"}, {"1 2", -5, "0x0x0:"}, {"1 2", kMost, "2x1x1: 1 2"}};
    for (const auto& [text, most, line] : limits)
        EXPECT_EQ(lineOf(text, most), line) << text;
    EXPECT_EQ(readInOneLineFrom(nullptr, 3), nullptr);

    const auto stream = streamOf("1 rest\r\n2\r3\n");
    for (const char* line : {"1x1x1: 1", "1x1x1: 2", "1x1x1: 3", "null"})
        EXPECT_EQ(shown(readInOneLineFrom(stream.get(), 1)), line);
}

} // namespace
