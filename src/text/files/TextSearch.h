#pragma once

#include "platform/Result.h"
#include "text/files/IndexedTextFile.h"
#include "toolkit/TextLines.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

// One search in a text file, on the thread that calls run(). The file may grow meanwhile: what it gains after
// the beginning isn't searched. Memory is bounded, also for a line of gigabytes. A text is compared with the
// bytes of the file, in UTF-8; a match function gets lines as they are shown.
class TextSearch {
public:
    TextSearch(IndexedTextFile& text, const toolkit::TextQuery& query);

    using Found = platform::Result<std::optional<toolkit::TextHit>>;
    // `goOn` is asked after each piece with the part that is done, from 0 to 1. When it answers false, or the
    // file was cut or replaced, the search ends with a failure.
    Found run(const std::function<bool(double fraction)>& goOn);

private:
    using Hit = std::optional<toolkit::TextHit>;
    Hit search(bool isWrapped);
    Hit bytesForward(std::int64_t at, std::int64_t behind);
    Hit bytesBackward(std::int64_t first, std::int64_t behind);
    Hit linesForward(toolkit::TextPlace from, std::int64_t behind);
    Hit linesBackward(std::int64_t first, toolkit::TextPlace behind);
    Hit lastIn(std::string_view line, std::int64_t number, std::int64_t before) const;
    std::string piece(std::int64_t start, std::int64_t count);
    toolkit::TextHit hitAt(std::int64_t offset);
    bool isReadUpTo(std::int64_t offset);
    bool mayGoOn(std::int64_t bytesDone);

    IndexedTextFile& text_;
    const toolkit::TextQuery& query_;
    std::string needle_; // In small letters when case doesn't count.
    std::int64_t needed_ = 0; // Bytes of the needle.
    std::int64_t extent_ = 0; // Bytes of the file at the beginning.
    std::int64_t done_ = 0; // Bytes.
    int generation_ = 0; // Of the text.
    bool isEnded_ = false; // Cancelled, or the file has changed.
    const std::function<bool(double)>* goOn_ = nullptr;
};
