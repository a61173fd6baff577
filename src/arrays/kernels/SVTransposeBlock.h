#pragma once

// The transposition of one layer, limited by the speed of the memory. For SVTransposition.cpp.

#include "arrays/kernels/SVStreamingCopy.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace svinternal {

// A square block of elements in registers of 16 bytes: one register for each row, one row as long as a
// register.
template <class T>
class TransposeSquare {
public:
    static constexpr int kSide = 16 / static_cast<int>(sizeof(T));

    static void transpose(const T* from, long fromStep, T* to, long toStep)
    {
        Register square[kSide];
        for (int k = 0; k < kSide; ++k)
            std::memcpy(&square[k], from + k * fromStep, sizeof(Register));
            // Rows that lie half a square apart are interleaved until every element has come to its place.
#pragma GCC unroll 4
        for (int done = 1; done < kSide; done *= 2) {
            Register next[kSide];
#pragma GCC unroll 8
            for (int row = 0; row < kSide / 2; ++row) {
                next[2 * row] = interleaved<0>(square[row], square[row + kSide / 2], Places());
                next[2 * row + 1] = interleaved<kSide / 2>(square[row], square[row + kSide / 2], Places());
            }
#pragma GCC unroll 16
            for (int row = 0; row < kSide; ++row)
                square[row] = next[row];
        }
        for (int i = 0; i < kSide; ++i)
            std::memcpy(to + i * toStep, &square[i], sizeof(Register));
    }

private:
    typedef T Register __attribute__((vector_size(16)));
    using Places = std::make_integer_sequence<int, kSide>;

    // a[first], b[first], a[first + 1], b[first + 1], ...
    template <int first, int... place>
    static Register interleaved(Register a, Register b, std::integer_sequence<int, place...>)
    {
        return __builtin_shufflevector(a, b, (first + place / 2 + (place % 2) * kSide)...);
    }
};

// Element (i,k) of the source, at i + k*fromStep, goes to k + i*toStep. Before each group of columns it calls
// comingTo(k, kEnd).
template <class T, class ComingTo>
void transposeTile(
    const T* from, long fromStep, T* to, long toStep, long rows, long columns, ComingTo comingTo)
{
    constexpr long kSide = TransposeSquare<T>::kSide;
    const long wholeRows = rows - rows % kSide;
    const long wholeColumns = columns - columns % kSide;
    for (long k = 0; k < wholeColumns; k += kSide) {
        comingTo(k, k + kSide);
        for (long i = 0; i < wholeRows; i += kSide)
            TransposeSquare<T>::transpose(from + i + k * fromStep, fromStep, to + k + i * toStep, toStep);
    }
    for (long i = 0; i < rows; ++i)
        for (long k = i < wholeRows ? wholeColumns : 0; k < columns; ++k)
            to[k + i * toStep] = from[i + k * fromStep];
}

// A layer in tiles of a few cache lines each way, so that a line is fetched once for all its elements.
// `streamed` is for targets that no cache will hold: a tile is gathered in a buffer first, and its rows are
// written so that they bypass the caches. That saves fetching lines that are only overwritten.
template <class T>
class LayerTransposition {
public:
    LayerTransposition(const T* from, long fromStep, T* to, long toStep, long rows, long columns)
        : from_(from), fromStep_(fromStep), to_(to), toStep_(toStep), rows_(rows), columns_(columns)
    { }

    void run(bool streamed) const
    {
        const bool rowsAlike = toStep_ % kLine == 0;
        const long spare = streamed && !rowsAlike ? kLine : 0;
        // If all rows have the same alignment within a line, all tiles end at the end of a line.
        const long first = streamed && rowsAlike ? lineFrom(to_, 0) : 0;
        for (long k = 0, kEnd = 0; k < columns_; k = kEnd) {
            kEnd = std::min(columns_, (k == 0 ? first : k) + tileColumns());
            const long kFetched = std::min(columns_, kEnd + spare);
            for (long i = 0; i < rows_; i += kTileRows) {
                if (streamed)
                    stream(i, k, kEnd, kFetched);
                else
                    transposeTile(
                        source(i, k), fromStep_, target(i, k), toStep_, rowsFrom(i),
                        kEnd - k, [&](long begin, long end) __attribute__((always_inline)) {
                            prefetchNext(i, k + begin, k + end);
                            if (begin % kLine == 0 && rowsFrom(i + kTileRows) == kTileRows)
                                for (long row = i + kTileRows; row < i + 2 * kTileRows; ++row)
                                    __builtin_prefetch(target(row, k + begin), 1);
                        });
            }
        }
    }

private:
    static constexpr long kLine = 64 / static_cast<long>(sizeof(T));
    // No more than 64, so that the buffer leaves room on a small stack: it has at most 45 KB.
    static constexpr long kTileRows = std::min(4 * kLine, 64L);
    static constexpr long kTileColumns = 8 * kLine;
    // Room for a tile, the extra columns of the first one, the spare, and a line that keeps rows out of each
    // other's cache sets.
    static constexpr long kBufferStep = kTileColumns + 3 * kLine;

    // Columns at a distance of a multiple of 4096 bytes share a few cache sets, which hold no more than this.
    long tileColumns() const
    {
        constexpr long kColumnsInSharedSets = 128;
        const bool sharesSets = fromStep_ * static_cast<long>(sizeof(T)) % 4096 == 0;
        return sharesSets ? std::min(kTileColumns, kColumnsInSharedSets) : kTileColumns;
    }
    const T* source(long i, long k) const { return from_ + i + k * fromStep_; }
    T* target(long i, long k) const { return to_ + k + i * toStep_; }
    long rowsFrom(long i) const { return std::min(kTileRows, rows_ - i); }

    // Prefetches the lines of the tile after that of row i, in these columns: the processor doesn't predict
    // the jump from one column to the next. A few at a time, while this tile is transposed, into the
    // second-level cache, since the first is smaller than two tiles. The address is the end of a line: its
    // beginning may belong to the tile before.
    [[gnu::always_inline]] void prefetchNext(long i, long k, long kEnd) const
    {
        if (rowsFrom(i + kTileRows) < kTileRows)
            return;
        for (; k < kEnd; ++k)
            for (long row = i + kTileRows; row < i + 2 * kTileRows; row += kLine)
                __builtin_prefetch(source(row + kLine - 1, k), 0, 2);
    }

    // Writes whole lines of each row. If rows differ in alignment, a row of the tile begins and ends at the
    // first line that begins in its columns or after them.
    void stream(long i, long k, long kEnd, long kFetched) const
    {
        alignas(64) T buffer[kTileRows * kBufferStep];
        const long rows = rowsFrom(i);
        transposeTile(
            source(i, k), fromStep_, buffer, kBufferStep, rows,
            kFetched - k, [&](long begin, long end) __attribute__((always_inline)) {
                prefetchNext(i, k + begin, k + end);
            });
        for (long row = 0; row < rows; ++row) {
            const long begin = k == 0 ? 0 : lineFrom(target(i + row, 0), k);
            const long end =
                kEnd == columns_ ? columns_ : std::min(columns_, lineFrom(target(i + row, 0), kEnd));
            if (begin < end)
                streamingCopy(target(i + row, begin), buffer + row * kBufferStep + begin - k,
                    static_cast<std::size_t>(end - begin) * sizeof(T));
        }
    }

    // The first column from k on whose element begins a cache line.
    static long lineFrom(const T* row, long k)
    {
        const auto place = static_cast<long>(reinterpret_cast<std::uintptr_t>(row + k) / sizeof(T));
        return k + (-place & (kLine - 1));
    }

    const T* from_;
    long fromStep_;
    T* to_;
    long toStep_;
    long rows_;
    long columns_;
};

} // namespace svinternal
