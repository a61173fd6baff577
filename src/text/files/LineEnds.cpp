#include "text/files/LineEnds.h"

#include <algorithm>
#include <bit>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

constexpr std::size_t kStep = 64;

// A bit for each of 64 bytes that is a line feed or a carriage return.
std::uint64_t lineEndBits(const char* bytes)
{
    std::uint64_t bits = 0;
#ifdef __SSE2__
    const __m128i feed = _mm_set1_epi8('\n');
    const __m128i carriage = _mm_set1_epi8('\r');
    for (unsigned i = 0; i < kStep / 16; ++i) {
        const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + std::size_t{16} * i));
        const __m128i found = _mm_or_si128(_mm_cmpeq_epi8(part, feed), _mm_cmpeq_epi8(part, carriage));
        bits |= std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(found))} << (16 * i);
    }
#else
    for (unsigned i = 0; i < kStep; ++i)
        bits |= std::uint64_t{bytes[i] == '\n' || bytes[i] == '\r'} << i;
#endif
    return bits;
}

} // namespace

bool LineScanner::scan(std::string_view piece, std::vector<LineEnd>& ends)
{
    if (piece.empty())
        return false;
    const bool completesPair = isBehindReturn_ && piece.front() == '\n';
    isBehindReturn_ = piece.back() == '\r';
    std::size_t lineFeedOfPair = completesPair ? 0 : std::string_view::npos;
    const auto takeEnd = [&](std::size_t at) {
        if (at == lineFeedOfPair)
            return;
        const bool isPair = piece[at] == '\r' && at + 1 < piece.size() && piece[at + 1] == '\n';
        if (isPair)
            lineFeedOfPair = at + 1;
        ends.push_back({static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(at + (isPair ? 2 : 1))});
    };
    std::size_t at = 0;
    for (; at + kStep <= piece.size(); at += kStep)
        for (std::uint64_t bits = lineEndBits(piece.data() + at); bits != 0; bits &= bits - 1)
            takeEnd(at + static_cast<std::size_t>(std::countr_zero(bits)));
    for (; at < piece.size(); ++at)
        if (piece[at] == '\n' || piece[at] == '\r')
            takeEnd(at);
    return completesPair;
}
