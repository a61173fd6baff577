// A text file by line: the index of its lines, what a table sees of it, and files that change meanwhile.

#include "TestMessages.h"
#include "TextLines.h"
#include "platform/TemporaryFolder.h"
#include "platform/loop/MainLoop.h"
#include "text/files/IndexedTextFile.h"
#include "text/files/KRBigTextFile.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

void append(const std::string& path, std::string_view text)
{
    write(path, text, std::ios::app);
}

Texts linesOf(const KRBigTextFile& file)
{
    Texts lines;
    for (std::int64_t i = 0; i < file.howManyLines(); ++i)
        lines.push_back(file.lineNumber(i));
    return lines;
}

TEST(LineIndex, AgreesWithASlowCountWhereverATextIsCut)
{
    forShortTexts(6, [](const std::string& tail) {
        for (const std::size_t before : {0U, 61U, 130U}) {
            const std::string text = std::string(before, 'x') + tail;
            const Texts lines = slowLinesOf(text);
            for (std::size_t cut = before; cut <= text.size(); ++cut) {
                LineIndex index;
                LineScanner scanner;
                for (const auto piece :
                    {std::string_view(text).substr(0, cut), std::string_view(text).substr(cut)}) {
                    std::vector<LineEnd> ends;
                    const bool completes = scanner.scan(piece, ends);
                    index.add(static_cast<std::int64_t>(piece.size()), ends, completes);
                }
                Texts found;
                for (std::int64_t i = 0; i < index.count(); ++i) {
                    const auto place = index.place(i);
                    found.push_back(text.substr(static_cast<std::size_t>(place.start),
                        static_cast<std::size_t>(place.end - place.start)));
                }
                ASSERT_EQ(found, lines) << testing::PrintToString(text) << " cut at " << cut;
            }
        }
        if (tail.empty())
            return;
        ASSERT_EQ(KRBigTextFile::splitStringIntoLines(tail), slowLinesOf(tail))
            << testing::PrintToString(tail);
    });
    EXPECT_EQ(KRBigTextFile::splitStringIntoLines(""), Texts{""});
}

TEST(LineIndex, ReachesBeyondFourGigabytesWithEightBytesALine)
{
    constexpr std::int64_t kGiB = std::int64_t{1} << 30;
    LineIndex index;
    const LineEnd end{99, 100};
    for (const std::int64_t size : {kGiB, kGiB, 2 * kGiB, 5 * kGiB})
        index.add(size, {&end, 1}, false);
    ASSERT_EQ(index.count(), 5);
    EXPECT_EQ(index.place(2).start, kGiB + 100);
    EXPECT_EQ(index.place(2).end, 2 * kGiB + 99);
    EXPECT_EQ(index.place(3).start, 2 * kGiB + 100);
    EXPECT_EQ(index.place(3).end, 4 * kGiB + 99);
    EXPECT_EQ(index.place(4).start, 4 * kGiB + 100);
    EXPECT_EQ(index.place(4).end, 9 * kGiB);
    index.clear();
    EXPECT_EQ(index.count(), 0);
    const std::vector<LineEnd> ends(1'000'000, LineEnd{7, 8});
    index.add(0, ends, false);
    EXPECT_LE(index.memoryUsed(), 8'100'000 + 65536 * 8);
}

TEST(IndexedTextFile, FindsTheLinesThatTheIndexDoesNotKeep)
{
    const TemporaryFolder folder;
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += "line " + std::to_string(i) + (i % 3 == 0 ? "\r\n" : i % 3 == 1 ? "\n" : "\r");
    text += std::string(2 * IndexedTextFile::kBlockSize, 'x') + "\nlast";
    write(folder / "text", text);
    const Texts lines = slowLinesOf(text);
    for (const std::int64_t kept : {0, 5, 990, 2000}) {
        IndexedTextFile file(folder / "text", kept);
        EXPECT_EQ(file.readNew(1, [] { return true; }), GrowingFile::Read::Some);
        EXPECT_EQ(file.size(), IndexedTextFile::kBlockSize);
        EXPECT_EQ(file.readNew(9, [] { return true; }), GrowingFile::Read::Everything);
        ASSERT_EQ(file.howManyLines(), 1002);
        for (std::int64_t i = 0; i < 1002; ++i)
            ASSERT_EQ(file.line(i), lines[static_cast<std::size_t>(i)].substr(0, 40000))
                << i << " kept " << kept;
    }
}

TEST(KRBigTextFile, ShowsLinesToATable)
{
    const TemporaryFolder folder;
    write(folder / "text", "one\r\n\r\nthree");
    toolkit::Table table; // Outlives the source that it borrows.
    KRBigTextFile file;
    file.setTable(&table);
    file.setFileName(folder / "text");
    EXPECT_EQ(table.numberOfRows(), 3);
    EXPECT_EQ(toolkit::cellText(table.value("Output", 2)), "three");
    EXPECT_EQ(toolkit::cellText(table.value("Number", 2)), "3");
    EXPECT_EQ(file.lineNumber(3), "");
    EXPECT_EQ(file.lineNumber(-1), "");
    EXPECT_EQ(file.selectedLinesOrEverything(), "one\n\nthree");
    table.selectRows({0, 2});
    EXPECT_EQ(file.selectedLinesOrEverything(), "one\nthree");
    file.setFileName("");
    EXPECT_EQ(file.fileName(), folder / "text");
    EXPECT_EQ(table.numberOfRows(), 3);
    file.setFileName(folder.path());
    EXPECT_EQ(table.numberOfRows(), 0);
    file.setFileName(folder / "text");
    EXPECT_EQ(table.numberOfRows(), 3);
    file.clearFile();
    EXPECT_EQ(table.numberOfRows(), 0);
    EXPECT_EQ(file.fileName(), std::nullopt);
    write(folder / "crlf", "\r\n\r\n");
    file.setFileName(folder / "crlf");
    EXPECT_EQ(table.numberOfRows(), 2);
}

TEST(KRBigTextFile, FollowsAFileThatGrows)
{
    const TemporaryFolder folder;
    const std::string path = folder / "text";
    toolkit::Table table;
    KRBigTextFile file;
    file.setTable(&table);
    file.setFileName(path);
    EXPECT_EQ(table.numberOfRows(), 0);
    const auto grown = [&](std::string_view text) {
        append(path, text);
        file.setFileName(path); // The same name looks anew.
        EXPECT_EQ(table.numberOfRows(), file.howManyLines());
        return linesOf(file);
    };
    EXPECT_EQ(grown("a"), Texts{"a"});
    EXPECT_EQ(grown("b\r"), Texts{"ab"});
    EXPECT_EQ(grown("\n"), Texts{"ab"});
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = descriptors();
    file.setTable(nullptr); // Closes the file; it goes on where it was.
    EXPECT_EQ(descriptors(), before - 2) << "one reads what is new, the other one lines";
    file.setTable(&table);
    EXPECT_EQ(grown("c"), (Texts{"ab", "c"}));
    EXPECT_EQ(grown("\r"), (Texts{"ab", "c"}));
    EXPECT_EQ(grown("d\n\n"), (Texts{"ab", "c", "d", ""}));
}

TEST(KRBigTextFile, ReadsAFileAnewThatWasCutAndSaysSoOnce)
{
    TestMessages messages;
    const TemporaryFolder folder;
    const std::string path = folder / "text";
    write(path, "first\nsecond\r");
    KRBigTextFile file;
    file.setFileName(path);
    write(path, "\nnew");
    file.updateFileContent();
    EXPECT_EQ(linesOf(file), (Texts{"", "new"}));
    EXPECT_EQ(messages.take(),
        Texts{"The file \"" + path + "\" was cut or replaced while it was shown. Its lines are read again."});
    write(path, "");
    file.updateFileContent();
    EXPECT_EQ(file.howManyLines(), 0);
    write(path, "longer than before\n"); // Beyond the place, with other bytes before it.
    file.updateFileContent();
    write(path, "others as long as..\nand more");
    file.updateFileContent();
    EXPECT_EQ(linesOf(file), (Texts{"others as long as..", "and more"}));
    std::filesystem::rename(path, path + "-old");
    write(path, "others as long as..\nand more\nthere");
    file.updateFileContent();
    EXPECT_EQ(file.howManyLines(), 3);
    EXPECT_EQ(messages.take(), Texts{});
}

TEST(KRBigTextFile, CutsLongLinesAtACharacterAndReadsOldText)
{
    const TemporaryFolder folder;
    const std::string path = folder / "text";
    KRBigTextFile file;
    file.setKeepFileOpen(true);
    for (const std::string character : {"x", "\u00e9", "\u20ac", "\U0001f600"})
        for (std::size_t before = 39995; before <= 40000; ++before) {
            write(path, std::string(before, 'x') + character + std::string(60000, 'y') + "\nnext");
            file.setFileName(std::nullopt);
            file.setFileName(path);
            const std::size_t room = 40000 - before;
            const std::string tail = room < character.size()
                ? std::string()
                : character + std::string(room - character.size(), 'y');
            ASSERT_EQ(file.lineNumber(0), std::string(before, 'x') + tail) << character << before;
            ASSERT_EQ(file.lineNumber(1), "next");
        }
    write(path, "caf\x8e\ncaf\xc3\xa9\n");
    file.setFileName(std::nullopt);
    file.setFileName(path);
    EXPECT_EQ(linesOf(file), (Texts{"café", "café"}));
}

TEST(KRBigTextFile, IndexesTheRestOfALargeFileOnAWorker)
{
    const TemporaryFolder folder;
    const std::string path = folder / "text";
    std::string text;
    for (int i = 0; i < 1'000'000; ++i)
        text += "line " + std::to_string(i) + "\n";
    write(path, text);
    toolkit::Table table;
    KRBigTextFile file;
    file.setTable(&table);
    file.setFileName(path);
    EXPECT_TRUE(file.isIndexing());
    EXPECT_GT(table.numberOfRows(), 100'000);
    EXPECT_EQ(file.lineNumber(99'999), "line 99999");
    append(path, "more\n");
    file.updateFileContent(); // Looked at when the worker is done.
    ASSERT_TRUE(platform::MainLoop::main().runUntil([&] { return !file.isIndexing(); }, 60));
    EXPECT_EQ(table.numberOfRows(), 1'000'001);
    EXPECT_EQ(file.lineNumber(999'999), "line 999999");
    EXPECT_EQ(file.lineNumber(1'000'000), "more");
}

TEST(KRBigTextFile, CopiesLinesAsTheyAreShownUpToABound)
{
    TestMessages messages;
    const TemporaryFolder folder;
    std::string text;
    for (std::size_t i = 0; i < 20'000; ++i) // Several readings, and lines across their ends.
        text += "line " + std::to_string(i) + std::string(i % 40, '.') + "\r\n";
    write(folder / "text", text + std::string(300'000, 'x') + "\ncaf\x8e");
    toolkit::Table table;
    KRBigTextFile file;
    file.setTable(&table);
    file.setFileName(folder / "text");
    const Texts lines = linesOf(file);
    ASSERT_EQ(lines.size(), 20'002U);
    EXPECT_TRUE(KRBigTextFile::splitStringIntoLines(file.selectedLinesOrEverything()) == lines);
    table.selectRows({3, 4, 19'999, 20'001});
    EXPECT_EQ(file.selectedLinesOrEverything(), lines[3] + "\n" + lines[4] + "\n" + lines[19'999] + "\ncafé");
    write(folder / "text", "cut\n"); // Not noticed yet.
    EXPECT_EQ(file.selectedLinesOrEverything(), "\n\n\n");
    table.selectRows({});
    text.clear();
    for (int i = 0; i < 10'000; ++i)
        text += std::string(9'999, 'y') + "\n";
    write(folder / "large", text + "more");
    file.setFileName(folder / "large");
    ASSERT_TRUE(platform::MainLoop::main().runUntil([&] { return !file.isIndexing(); }, 60));
    EXPECT_TRUE(file.selectedLinesOrEverything() == text);
    EXPECT_EQ(messages.take(), Texts{"The text is larger than 100 MB. The rest of it is left out."});
}

// Ten gigabytes of which nothing but the start has been read: shown at once, and left at once.
TEST(KRBigTextFile, ShowsTheStartOfAHugeFileWithoutWaiting)
{
    const TemporaryFolder folder;
    const std::string path = folder / "huge";
    write(path, "start\n");
    std::filesystem::resize_file(path, 10'000'000'000);
    toolkit::Table table;
    KRBigTextFile file;
    file.setTable(&table);
    file.setFileName(path);
    EXPECT_TRUE(file.isIndexing());
    EXPECT_EQ(table.numberOfRows(), 2);
    EXPECT_EQ(file.lineNumber(0), "start");
    EXPECT_EQ(file.lineNumber(1).size(), 40000U);
    write(folder / "other", "small");
    file.setFileName(folder / "other"); // The worker's notices of the former file go nowhere.
    platform::MainLoop::main().runPending();
    EXPECT_EQ(linesOf(file), Texts{"small"});
    EXPECT_FALSE(file.isIndexing());
}

TEST(KRBigTextFile, ShowsThePlainTextOfARichDocument)
{
    TestMessages messages;
    const TemporaryFolder folder;
    write(folder / "notes.rtf", "{\\rtf1 one\\par {\\b two}\\par }");
    KRBigTextFile file;
    file.fromRTFFile(folder / "notes.rtf");
    EXPECT_EQ(linesOf(file), (Texts{"one", "two"}));
    write(folder / "plain", "no document");
    file.fromRTFFile(folder / "plain");
    EXPECT_EQ(file.howManyLines(), 0);
    file.fromRTFFile(folder / "missing");
    EXPECT_EQ(messages.take(),
        (Texts{"Could not read \"" + (folder / "plain") + "\".",
            "Could not read \"" + (folder / "missing") + "\"."}));
}

} // namespace
