#include "text/files/TextSearch.h"

#include "platform/files/FileManager.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <tuple>
#include <utility>

namespace {

constexpr std::int64_t kSearchPiece = std::int64_t{1} << 20; // Bytes.
constexpr std::int64_t kLinesBack = 1024; // Lines that are looked at together on the way back.
constexpr int kBlocksRead = 64;

void makeSmall(std::string& text)
{
    for (char& c : text)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
}

std::int64_t signedSize(std::string_view text)
{
    return static_cast<std::int64_t>(text.size());
}

// The C library's search is several times faster than that of the string.
std::size_t findIn(std::string_view text, std::size_t from, std::string_view wanted)
{
    if (from > text.size())
        return std::string_view::npos;
    const void* found = ::memmem(text.data() + from, text.size() - from, wanted.data(), wanted.size());
    return found ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data())
                 : std::string_view::npos;
}

} // namespace

TextSearch::TextSearch(IndexedTextFile& text, const toolkit::TextQuery& query)
    : text_(text), query_(query), needle_(query.text), needed_(signedSize(query.text))
{
    if (!query.isCaseSensitive)
        makeSmall(needle_);
}

TextSearch::Found TextSearch::run(const std::function<bool(double fraction)>& goOn)
{
    goOn_ = &goOn;
    generation_ = text_.timesStartedAnew();
    extent_ = static_cast<std::int64_t>(platform::files::size(text_.path()).value_or(0));
    if (needle_.empty() && !query_.match)
        return Hit();
    Hit hit = search(false);
    if (!hit && !isEnded_) {
        hit = search(true);
        if (hit)
            hit->hasWrapped = true;
    }
    if (!hit && !isEnded_)
        std::ignore = text_.readNew(1, [] { return true; }); // Notices a file that was cut.
    if (text_.timesStartedAnew() != generation_)
        return platform::Error{"The file was cut or replaced during the search."};
    if (isEnded_)
        return platform::Error{"The search was ended."};
    return hit;
}

// From the place to the end of the text, or from the other end up to the place.
TextSearch::Hit TextSearch::search(bool isWrapped)
{
    constexpr std::int64_t kEnd = std::numeric_limits<std::int64_t>::max();
    const toolkit::TextPlace from = query_.from;
    if (query_.isBackward && isWrapped && !isReadUpTo(extent_))
        return {};
    if (query_.match) {
        if (query_.isBackward)
            return isWrapped ? linesBackward(from.line, {text_.howManyLines(), 0}) : linesBackward(0, from);
        return isWrapped ? linesForward({}, from.line + 1) : linesForward(from, kEnd);
    }
    const std::int64_t place = text_.startOf(from.line) + from.byte;
    if (query_.isBackward)
        return isWrapped ? bytesBackward(place, extent_) : bytesBackward(0, place);
    return isWrapped ? bytesForward(0, place) : bytesForward(place, extent_);
}

// Reads on beyond the index where the file is longer.
bool TextSearch::isReadUpTo(std::int64_t offset)
{
    offset = std::min(offset, extent_);
    while (text_.size() < offset) {
        const std::int64_t before = text_.size();
        const auto read = text_.readNew(kBlocksRead, [this] { return mayGoOn(0); });
        if (isEnded_ || read == GrowingFile::Read::Refused || text_.size() <= before)
            return false;
    }
    return true;
}

bool TextSearch::mayGoOn(std::int64_t bytesDone)
{
    done_ += bytesDone;
    const double fraction = extent_ > 0 ? static_cast<double>(done_) / static_cast<double>(extent_) : 1.0;
    if (!(*goOn_)(std::min(fraction, 1.0)) || text_.timesStartedAnew() != generation_)
        isEnded_ = true;
    return !isEnded_;
}

std::string TextSearch::piece(std::int64_t start, std::int64_t count)
{
    isReadUpTo(start + count);
    std::string bytes = text_.bytes(start, count);
    if (!query_.isCaseSensitive)
        makeSmall(bytes);
    return bytes;
}

// Hits that begin from `at` on, before `behind`. Pieces overlap by what a hit may reach into the next one.
TextSearch::Hit TextSearch::bytesForward(std::int64_t at, std::int64_t behind)
{
    while (at < behind) {
        const std::int64_t count = std::min(kSearchPiece, behind - at);
        const std::string bytes = piece(at, count + needed_ - 1);
        if (bytes.empty())
            return {};
        const std::size_t found = findIn(bytes, 0, needle_);
        if (found != std::string::npos)
            return hitAt(at + static_cast<std::int64_t>(found));
        at += count;
        if (!mayGoOn(count))
            return {};
    }
    return {};
}

TextSearch::Hit TextSearch::bytesBackward(std::int64_t first, std::int64_t behind)
{
    while (behind > first) {
        const std::int64_t start = std::max(first, behind - kSearchPiece);
        const std::string bytes = piece(start, behind - start + needed_ - 1);
        std::size_t last = std::string::npos;
        for (std::size_t found = findIn(bytes, 0, needle_); found != std::string::npos;
             found = findIn(bytes, found + 1, needle_))
            last = found;
        if (last != std::string::npos)
            return hitAt(start + static_cast<std::int64_t>(last));
        if (!mayGoOn(behind - start))
            return {};
        behind = start;
    }
    return {};
}

toolkit::TextHit TextSearch::hitAt(std::int64_t offset)
{
    const auto place = text_.lineAt(offset);
    toolkit::TextHit hit{{place.line, offset - place.start}, needed_, false};
    // A line in another character set takes more bytes as it is shown.
    std::string shown = text_.line(place.line);
    if (!query_.isCaseSensitive)
        makeSmall(shown);
    const auto byte = static_cast<std::size_t>(hit.start.byte);
    if (const std::size_t found = findIn(shown, byte, needle_); found != std::string::npos)
        hit.start.byte = static_cast<std::int64_t>(found);
    return hit;
}

TextSearch::Hit TextSearch::linesForward(toolkit::TextPlace from, std::int64_t behind)
{
    std::string lines;
    for (std::int64_t number = from.line; number < behind;) {
        isReadUpTo(text_.size() + 1);
        const std::int64_t end = std::min(behind, text_.howManyLines());
        if (number >= end)
            return {};
        lines.clear();
        const std::int64_t next = text_.appendLines(number, end, lines);
        for (std::string_view rest = lines; !rest.empty(); ++number) {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            const std::size_t start = number == from.line ? static_cast<std::size_t>(from.byte) : 0;
            if (start <= line.size())
                if (const auto match = query_.match(line, start))
                    return toolkit::TextHit{{number, static_cast<std::int64_t>(match->byte)},
                        static_cast<std::int64_t>(match->size), false};
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        }
        number = next;
        if (!mayGoOn(signedSize(lines)))
            return {};
    }
    return {};
}

// From the line `first` on, before the place.
TextSearch::Hit TextSearch::linesBackward(std::int64_t first, toolkit::TextPlace behind)
{
    std::int64_t end = std::min(behind.line + 1, text_.howManyLines());
    while (end > first) {
        const std::int64_t start = std::max(first, end - kLinesBack);
        std::string lines;
        for (std::int64_t number = start; number < end && !isEnded_;)
            number = text_.appendLines(number, end, lines);
        Hit last;
        std::string_view rest = lines;
        for (std::int64_t number = start; number < end && !rest.empty(); ++number) {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            const std::int64_t before = number == behind.line ? behind.byte : signedSize(line) + 1;
            if (const Hit hit = lastIn(line, number, before))
                last = hit;
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        }
        if (last || !mayGoOn(signedSize(lines)))
            return last;
        end = start;
    }
    return {};
}

TextSearch::Hit TextSearch::lastIn(std::string_view line, std::int64_t number, std::int64_t before) const
{
    Hit last;
    for (std::size_t from = 0; from <= line.size();) {
        const auto match = query_.match(line, from);
        if (!match || static_cast<std::int64_t>(match->byte) >= before)
            break;
        last = toolkit::TextHit{
            {number, static_cast<std::int64_t>(match->byte)}, static_cast<std::int64_t>(match->size), false};
        from = match->byte + 1;
    }
    return last;
}
