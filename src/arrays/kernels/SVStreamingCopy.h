#pragma once

// Writes that bypass the caches, for results larger than the caches. Without an implementation for the
// processor streamingCopy() is a plain copy and finishStreaming() does nothing.

#include <algorithm>
#include <cstddef>

namespace svinternal {

// In bytes. No cache holds a larger result, and fetching lines that are only overwritten would cost as much
// as writing them.
inline constexpr long kStreamedSize = 32L << 20;

// The blocks must not overlap. Other threads may see the bytes only after finishStreaming().
void streamingCopy(void* to, const void* from, std::size_t count);

void finishStreaming();

// Asks for the cache lines of a block. Always inlined: g++ drops a call to a function that only prefetches.
template <class T>
[[gnu::always_inline]] inline void prefetchBlock(const T* from, long count)
{
    constexpr long kLine = 64 / static_cast<long>(sizeof(T));
    for (long place = 0; place < count; place += kLine)
        __builtin_prefetch(from + place);
}

// Fills a new block by compute(to, count, from...): in one call, or piece by piece past the caches. The
// blocks must not overlap.
template <class T, class Compute, class... Source>
void computeBlock(T* to, long count, Compute compute, const Source*... from)
{
    constexpr long kWidest = static_cast<long>(std::max({sizeof(T), sizeof(Source)...}));
    if (count < kStreamedSize / kWidest) {
        compute(to, count, from...);
        return;
    }
    constexpr long kPiece = 4096 / kWidest;
    constexpr long kAhead = 4 * kPiece; // Memory latency is as long as some pieces take.
    alignas(64) T piece[kPiece];
    for (long i = 0; i < count; i += kPiece) {
        const long length = std::min(kPiece, count - i);
        if (count - i >= kAhead + kPiece)
            (prefetchBlock(from + i + kAhead, kPiece), ...);
        compute(piece, length, from + i...);
        streamingCopy(to + i, piece, static_cast<std::size_t>(length) * sizeof(T));
    }
    finishStreaming();
}

} // namespace svinternal
