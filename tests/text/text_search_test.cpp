// Searching a text file: where the hits are, in files that are large, long-lined, or change meanwhile.

#include "TextLines.h"
#include "platform/TemporaryFolder.h"
#include "platform/loop/MainLoop.h"
#include "text/files/KRBigTextFile.h"
#include "text/files/TextSearch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

using toolkit::TextHit;
using toolkit::TextPlace;
using toolkit::TextQuery;

constexpr std::int64_t kMiB = 1 << 20;

std::optional<TextQuery::Match> firstX(std::string_view line, std::size_t from)
{
    const std::size_t at = line.find('x', from);
    return at == std::string_view::npos ? std::nullopt : std::optional(TextQuery::Match{at, 1});
}

// "line:byte", with a "w" for a search that has wrapped; "-" for no hit, else the failure.
std::string shown(const TextSearch::Found& found)
{
    if (!found)
        return found.error().text;
    const auto& hit = *found;
    return hit ? std::to_string(hit->start.line) + ":" + std::to_string(hit->start.byte)
            + (hit->hasWrapped ? "w" : "")
               : "-";
}

std::string searched(IndexedTextFile& file, const TextQuery& query)
{
    return shown(TextSearch(file, query).run([](double) { return true; }));
}

// The places of "x" in order; the nearest one is the first from a place on, or the last one before it.
std::string slowSearch(const Texts& lines, const TextQuery& query)
{
    std::vector<TextPlace> places;
    for (std::size_t line = 0; line < lines.size(); ++line)
        for (std::size_t byte = 0; byte < lines[line].size(); ++byte)
            if (lines[line][byte] == 'x')
                places.push_back({static_cast<std::int64_t>(line), static_cast<std::int64_t>(byte)});
    if (places.empty())
        return "-";
    const auto next = std::lower_bound(places.begin(), places.end(), query.from);
    const bool wraps = query.isBackward ? next == places.begin() : next == places.end();
    const TextPlace found =
        query.isBackward ? (wraps ? places.back() : *(next - 1)) : (wraps ? places.front() : *next);
    return shown(std::optional(TextHit{found, 1, wraps}));
}

TEST(TextSearch, AgreesWithASlowOneInBothDirectionsFromEveryPlace)
{
    const TemporaryFolder folder;
    const std::string path = folder / "text";
    for (const std::string text : {"x", "ax\nx", "\r\n\nxx\r\nbxbx", "a\nb\n", "x\n\n\n", "ab\rcx\r\nxd"}) {
        write(path, text);
        const Texts lines = slowLinesOf(text);
        // With few lines kept, too: then the place of a byte is found by counting.
        for (const std::int64_t kept : {std::int64_t{0}, std::int64_t{2}, LineIndex::kLinesKept})
            for (std::size_t line = 0; line < lines.size(); ++line)
                for (std::size_t byte = 0; byte <= lines[line].size(); ++byte)
                    for (const bool isBackward : {false, true}) {
                        TextQuery query{.text = "x", .isBackward = isBackward};
                        query.from = {static_cast<std::int64_t>(line), static_cast<std::int64_t>(byte)};
                        IndexedTextFile file(path, kept);
                        EXPECT_EQ(file.readNew(9, [] { return true; }), GrowingFile::Read::Everything);
                        SCOPED_TRACE(testing::PrintToString(text) + " from " + std::to_string(line) + ":"
                            + std::to_string(byte) + (isBackward ? " back" : ""));
                        EXPECT_EQ(searched(file, query), slowSearch(lines, query));
                        query.match = firstX;
                        query.text.clear();
                        EXPECT_EQ(searched(file, query), slowSearch(lines, query)) << "by a function";
                    }
    }
}

TEST(TextSearch, FindsHitsAcrossPiecesOfLongLinesAndWithoutRegardToCase)
{
    const TemporaryFolder folder;
    const std::string path = folder / "text";
    std::string text(3 * kMiB, '.');
    text[10] = '\n';
    const std::vector<std::int64_t> places{kMiB - 3, 2 * kMiB - 1, 3 * kMiB - 6};
    for (const std::int64_t place : places)
        text.replace(static_cast<std::size_t>(place), 6, "Needle");
    write(path, text);
    IndexedTextFile file(path); // The search reads the file itself.
    TextQuery query{.text = "Needle"};
    for (const std::int64_t place : places) {
        EXPECT_EQ(searched(file, query), "1:" + std::to_string(place - 11));
        query.from = {1, place - 11 + 1};
    }
    EXPECT_EQ(searched(file, query), "1:" + std::to_string(places[0] - 11) + "w");
    query.isBackward = true;
    EXPECT_EQ(searched(file, query), "1:" + std::to_string(places[2] - 11));
    query.text = "neEDle";
    EXPECT_EQ(searched(file, query), "-");
    query.isCaseSensitive = false;
    EXPECT_EQ(searched(file, query), "1:" + std::to_string(places[2] - 11));
    query.text.clear();
    EXPECT_EQ(searched(file, query), "-") << "nothing is nowhere";

    write(path, "first\n\x8a\x8a Z\xfcrich needle\n"); // The western Mac character set.
    IndexedTextFile mac(path);
    EXPECT_EQ(searched(mac, {.text = "needle"}), "1:13") << "as the line is shown";
    IndexedTextFile missing(folder / "missing");
    EXPECT_EQ(searched(missing, {.text = "x", .isBackward = true}), "-");
}

TEST(TextSearch, FilesThatGrowAreCutOrLeftMeanwhile)
{
    const TemporaryFolder folder;
    const std::string path = folder / "text";
    write(path, std::string(3 * kMiB, '.'));
    IndexedTextFile file(path);
    const TextQuery query{.text = "needle"};
    const auto run = [&](const std::function<void()>& meanwhile, bool goesOn) {
        return shown(TextSearch(file, query).run([&, isFirst = true](double fraction) mutable {
            EXPECT_TRUE(fraction >= 0 && fraction <= 1);
            if (std::exchange(isFirst, false))
                meanwhile();
            return goesOn;
        }));
    };
    EXPECT_EQ(run([&] { write(path, "needle", std::ios::app); }, true), "-") << "what was there at first";
    EXPECT_EQ(searched(file, query), "0:" + std::to_string(3 * kMiB));
    std::filesystem::resize_file(path, 3 * kMiB);
    EXPECT_EQ(searched(file, query), "The file was cut or replaced during the search.");
    EXPECT_EQ(run([&] { std::filesystem::resize_file(path, 5); }, true),
        "The file was cut or replaced during the search.");
    EXPECT_EQ(run([] {}, false), "The search was ended.");
}

TEST(KRBigTextFileSearch, AnswersOnTheMainThreadUnlessItIsDropped)
{
    const TemporaryFolder folder;
    const std::string path = folder / "text";
    std::string text(40 * kMiB, '.');
    text += "\nneedle\n";
    write(path, text);
    KRBigTextFile file;
    const TextQuery query{.text = "needle"};
    EXPECT_FALSE(file.search(query, {}, {})) << "there is nothing to search";
    file.setFileName(path);
    std::string answer;
    double done = 0;
    const auto tell = [&answer](const TextSearch::Found& found) { answer += shown(found); };
    auto dropped = file.search(query, {}, tell);
    dropped.reset();
    const auto search = file.search(
        query, [&done](double fraction) { done = fraction; }, tell);
    EXPECT_EQ(answer, "");
    ASSERT_TRUE(platform::MainLoop::main().runUntil([&] { return !answer.empty(); }, 20));
    platform::MainLoop::main().runPending();
    EXPECT_EQ(answer, "1:0");
    EXPECT_GT(done, 0);
    EXPECT_EQ(file.howManyLines(), 2) << "what the search has read is known";
    const auto abandoned = file.search(query, {}, tell);
    file.clearFile();
    file.setFileName(path);
    const auto again = file.search(query, {}, tell);
    ASSERT_TRUE(platform::MainLoop::main().runUntil([&] { return answer.size() > 3; }, 20));
    EXPECT_EQ(answer, "1:01:0") << "nothing is told of a text that was left";
}

TEST(KRBigTextFileSearch, GivesTheTextBetweenTwoPlaces)
{
    const TemporaryFolder folder;
    write(folder / "text", "one\r\ntwo\nthree");
    KRBigTextFile file;
    file.setFileName(folder / "text");
    const std::tuple<TextPlace, TextPlace, const char*> cases[] = {{{0, 1}, {0, 2}, "n"},
        {{0, 1}, {1, 2}, "ne\ntw"}, {{0, 9}, {2, 0}, "\ntwo\n"}, {{1, 0}, {9, 9}, "two\nthree"},
        {{2, 3}, {2, 99}, "ee"}, {{2, 2}, {1, 0}, ""}, {{3, 0}, {4, 0}, ""}};
    for (const auto& [start, end, text] : cases)
        EXPECT_EQ(file.textBetween(start, end), text) << start.line << ":" << start.byte;
}

} // namespace
