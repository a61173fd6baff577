#pragma once

#include "text/files/LineEnds.h"

#include <cstdint>
#include <span>
#include <vector>

// Where the lines of a text begin and end, with 8 bytes for each: 32-bit offsets in blocks of lines, and a
// 64-bit base for each block. From a limit on only every sixteenth line is kept, and the lines between are
// found by reading on from there. The last line may be unfinished and grows. One thread at a time.
class LineIndex {
public:
    static constexpr std::int64_t kLinesKept = 1'000'000'000;
    static constexpr std::int64_t kStride = 16;

    // Another limit is for tests.
    explicit LineIndex(std::int64_t linesKept = kLinesKept) : linesKept_(linesKept) { }

    void clear();
    // The next `size` bytes of the text, with the line ends that a LineScanner found in them.
    void add(std::int64_t size, std::span<const LineEnd> ends, bool completesPair);

    // All lines, the unfinished one included.
    std::int64_t count() const { return finished_ + (size_ > start_ ? 1 : 0); }
    std::int64_t size() const { return size_; } // Bytes.

    // Where to read line k, from 0 to count() - 1: `skip` lines behind the one from `start` to `end`. A line
    // of more than 4 GiB may end before its real end.
    struct Place {
        std::int64_t start = 0;
        std::int64_t end = 0;
        std::int64_t skip = 0;
    };
    Place place(std::int64_t line) const;
    // The last line that is kept and begins at the offset or before it; the offset lies in one of the lines
    // up to the next kept one.
    struct Kept {
        std::int64_t line = 0;
        std::int64_t start = 0;
        bool isNextKept = true; // So the offset lies in this line.
    };
    Kept keptLineAt(std::int64_t offset) const;
    std::int64_t memoryUsed() const; // Bytes.

private:
    struct Span {
        std::uint32_t start;
        std::uint32_t end;
    };
    struct Block {
        std::int64_t firstLine = 0;
        std::int64_t stride = 1;
        std::int64_t base = 0;
        std::vector<Span> lines{};
    };
    void addLine(std::int64_t end);
    Block& blockFor(std::int64_t end);

    std::int64_t linesKept_;
    std::vector<Block> blocks_;
    std::int64_t finished_ = 0; // Lines that have ended.
    std::int64_t start_ = 0; // Of the unfinished line.
    std::int64_t size_ = 0;
};
