// Text read forwards by lines: plain, compressed, converted, torn.

#include "TestMessages.h"
#include "TextLines.h"
#include "platform/TemporaryFolder.h"
#include "text/files/KRBigTextFileStream.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <zlib.h>

namespace {

constexpr std::size_t kPiece = 200000; // What a stream reads at a time of a file of this size.

Texts linesOf(KRBigTextFileStream& stream)
{
    Texts lines;
    for (; !stream.isAtEndOfFile(); stream.skipNumberOfLines(1))
        lines.emplace_back(stream.lineNumber(stream.currentLineNumber())->view());
    return lines;
}

Texts linesOfFile(const std::string& path)
{
    const auto stream = KRBigTextFileStream::createWithURL(path);
    return stream ? linesOf(*stream) : Texts{"null"};
}

// Window bits of zlib: 31 for gzip, 15 for its own header.
std::string compressed(const std::string& text, int windowBits = 31)
{
    z_stream stream{};
    deflateInit2(&stream, 1, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    std::string bytes(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    bytes.resize(bytes.size() - stream.avail_out);
    deflateEnd(&stream);
    return bytes;
}

std::string utf16(std::u16string_view text, bool bigEndian)
{
    std::string bytes;
    for (const char16_t unit : std::u16string(1, u'\ufeff') + std::u16string(text))
        for (const int shift : {bigEndian ? 8 : 0, bigEndian ? 0 : 8})
            bytes += static_cast<char>(unit >> shift);
    return bytes;
}

TEST(KRBigTextFileStream, AgreesWithASlowSplitAtAnyPlace)
{
    const TemporaryFolder folder;
    forShortTexts(6, [](const std::string& text) {
        ASSERT_EQ(linesOf(*KRBigTextFileStream::createWithUTF8(text)), slowLinesOf(text))
            << testing::PrintToString(text);
    });
    forShortTexts(3, [&](const std::string& text) {
        for (std::size_t before = kPiece - 3; before <= kPiece; ++before) {
            const std::string all = std::string(before, 'x') + text + std::string(kPiece / 2, 'y') + text;
            write(folder / "text", all);
            ASSERT_TRUE(linesOfFile(folder / "text") == slowLinesOf(all))
                << testing::PrintToString(text) << before;
        }
    });
}

TEST(KRBigTextFileStream, GoesForward)
{
    TestMessages messages;
    const TemporaryFolder folder;
    write(folder / "text", "zero\r\none\ntwo two\nthree\n");
    EXPECT_EQ(KRBigTextFileStream::createWithURL(folder / "missing"), nullptr);
    EXPECT_EQ(KRBigTextFileStream::createWithURL(folder.path()), nullptr);
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(KRBigTextFileStream::createWithURL(folder / "pipe"), nullptr)
        << "and doesn't wait for a writer";
    write(folder / "a é%41 %zz%", "named");
    for (const char* host : {"", "localhost"})
        EXPECT_EQ(linesOfFile("file://" + (host + (folder / "a%20%c3%A9%2541 %zz%"))), Texts{"named"});
    EXPECT_EQ(linesOfFile(folder / "a é%41 %zz%"), Texts{"named"}) << "a path has no escapes";
    for (const char* host : {"elsewhere", "localhosts", "%2e"})
        EXPECT_EQ(KRBigTextFileStream::createWithURL("file://" + (host + (folder / "text"))), nullptr);
    EXPECT_EQ(KRBigTextFileStream::createWithURL("file://" + (folder / "text%00.gz")), nullptr);
    const auto stream = KRBigTextFileStream::createWithURL("file://" + (folder / "text"));
    ASSERT_TRUE(stream);
    const auto lock = std::make_shared<std::mutex>();
    stream->setReadLock(lock);
    EXPECT_FALSE(stream->invalidFile());
    EXPECT_EQ(stream->fileLength(), 24);
    EXPECT_EQ(stream->groupOfLines(0, 2), "zero\none");
    EXPECT_TRUE(lock->try_lock()); // Held during the reading alone.
    lock->unlock();
    EXPECT_EQ(stream->currentOffset(), 10);
    EXPECT_EQ(stream->currentOffsetInUncompressed(), 10);
    EXPECT_EQ(stream->lineNumber(2)->asString(), "two two");
    EXPECT_EQ(stream->currentLineNumber(), 2);
    stream->skipNumberOfLines(1);
    const auto cached = stream->lineNumber(2); // The last line asked for is still there.
    ASSERT_TRUE(cached);
    EXPECT_EQ(cached->asString(), "two two");
    EXPECT_EQ(stream->currentLineNumber(), 3);
    EXPECT_EQ(messages.take(), Texts{});
    EXPECT_EQ(stream->groupOfLines(2, 1), std::nullopt);
    stream->skipNumberOfLines(-1);
    EXPECT_EQ(stream->lineNumber(1), nullptr);
    EXPECT_EQ(messages.take(),
        (Texts{"Can only go forward (group)", "Can only go forward (skip)", "Can only go forward (line)"}));
    EXPECT_EQ(stream->currentLineNumber(), 3);
    EXPECT_FALSE(stream->isAtEndOfFile());
    EXPECT_EQ(stream->groupOfLines(3, 100), "three");
    EXPECT_TRUE(stream->isAtEndOfFile());
    EXPECT_EQ(stream->lineNumber(4), nullptr);
    EXPECT_EQ(stream->groupOfLines(7, 1), "");
    EXPECT_EQ(stream->currentLineNumber(), 4);
    EXPECT_EQ(stream->currentOffset(), 24);
}

TEST(KRBigTextFileStream, FindsText)
{
    const auto stream = KRBigTextFileStream::createWithUTF8("a step\nstep 1\nno\n a step\nstep 2");
    EXPECT_EQ(stream->fileLength(), 31);
    EXPECT_TRUE(stream->searchForNextMatch("step", true));
    EXPECT_EQ(stream->currentLineNumber(), 1);
    stream->skipNumberOfLines(1);
    EXPECT_TRUE(stream->searchForNextMatch("step", false));
    EXPECT_EQ(stream->currentLineNumber(), 3);
    EXPECT_FALSE(stream->searchForNextMatch("absent", false));
    EXPECT_TRUE(stream->isAtEndOfFile());
}

TEST(KRBigTextFileStream, ConvertsUtf16)
{
    const TemporaryFolder folder;
    std::u16string wide;
    std::string narrow;
    for (int i = 0; i < 30000; ++i) { // Longer than a piece, whose end falls into pairs.
        wide += u"a\u00e9\U0001f600\u20ac\r\n";
        narrow += "aé\U0001f600€\r\n";
    }
    for (const bool bigEndian : {false, true})
        for (const char* start : {"", "x"}) {
            write(folder / "text", utf16((*start ? u"x" : u"") + wide, bigEndian));
            EXPECT_EQ(linesOfFile(folder / "text"), slowLinesOf(start + narrow));
            write(folder / "text.GZ", compressed(utf16((*start ? u"x" : u"") + wide, bigEndian)));
            EXPECT_EQ(linesOfFile(folder / "text.GZ"), slowLinesOf(start + narrow));
        }
    write(folder / "text", utf16(u"a", false) + "b"); // Torn in the middle of a character.
    EXPECT_EQ(linesOfFile(folder / "text"), Texts{"a"});
    write(folder / "text", std::string("\xff\xfe\x00\xdc", 4) + std::string("b\0", 2));
    EXPECT_EQ(linesOfFile(folder / "text"), Texts{"\ufffdb"});
    for (const char* plain : {"\xff", "\xfe\nx", "\xef\xbb\xbfmarked"}) {
        write(folder / "text", plain);
        EXPECT_EQ(linesOfFile(folder / "text"), slowLinesOf(std::string(plain))) << plain;
    }
}

TEST(KRBigTextFileStream, DecompressesMembersUpToWhatIsTorn)
{
    const TemporaryFolder folder;
    std::string text;
    for (int i = 0; i < 100000; ++i)
        text += std::to_string(i) + "\n";
    const std::string bytes = compressed(text) + compressed("second\nthird");
    Texts lines = slowLinesOf(text + "second\nthird");
    write(folder / "text.gz", bytes);
    EXPECT_EQ(linesOfFile(folder / "text.gz"), lines);
    const auto stream = KRBigTextFileStream::createWithURL(folder / "text.gz");
    stream->skipNumberOfLines(100000);
    EXPECT_EQ(stream->currentOffsetInUncompressed(), static_cast<std::int64_t>(text.size()));
    EXPECT_EQ(stream->fileLength(), static_cast<std::int64_t>(bytes.size()));
    stream->skipNumberOfLines(9);
    EXPECT_EQ(stream->currentOffset(), stream->fileLength());
    write(folder / "text.gz", compressed(text, 15));
    EXPECT_EQ(linesOfFile(folder / "text.gz"), slowLinesOf(text));
    write(folder / "text.gz", bytes + "garbage behind the members");
    EXPECT_EQ(linesOfFile(folder / "text.gz"), lines);
    write(folder / "text.gz", "no gzip");
    EXPECT_EQ(linesOfFile(folder / "text.gz"), Texts{});
    for (const char* name : {"text.gzip", "gz", "text."}) {
        write(folder / name, "no gzip");
        EXPECT_EQ(linesOfFile(folder / name), Texts{"no gzip"});
    }
    for (std::size_t size = 0; size < bytes.size(); size += 1 + bytes.size() / 40) {
        write(folder / "text.gz", bytes.substr(0, size));
        const Texts found = linesOfFile(folder / "text.gz");
        for (std::size_t i = 0; i + 1 < found.size(); ++i)
            ASSERT_EQ(found[i], lines[i]) << size;
    }
}

TEST(KRBigTextFileStream, CutsLinesThatAreTooLong)
{
    const TemporaryFolder folder;
    constexpr std::size_t kLongest = KRBigTextFileStream::kLongestLine;
    std::string text(kLongest - 1, 'x');
    text += "é and the rest";
    text.resize(kLongest + 1'000'000, 'y');
    write(folder / "text", text + "\r\nnext\n");
    const auto stream = KRBigTextFileStream::createWithURL(folder / "text");
    EXPECT_EQ(stream->lineNumber(0)->length(), static_cast<std::int64_t>(kLongest - 1));
    EXPECT_EQ(stream->lineNumber(1)->asString(), "next");
    EXPECT_EQ(stream->currentOffset(), static_cast<std::int64_t>(text.size() + 2));
    const auto bomb = compressed(std::string(kLongest * 2, '\0') + "\nbehind");
    write(folder / "bomb.gz", bomb);
    const auto bombed = KRBigTextFileStream::createWithURL(folder / "bomb.gz");
    EXPECT_EQ(bombed->lineNumber(0)->length(), static_cast<std::int64_t>(kLongest));
    EXPECT_EQ(bombed->lineNumber(1)->asString(), "behind");
}

} // namespace
