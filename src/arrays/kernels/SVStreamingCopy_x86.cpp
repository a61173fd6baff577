#include "arrays/kernels/SVStreamingCopy.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <emmintrin.h>

namespace svinternal {

void streamingCopy(void* to, const void* from, std::size_t count)
{
    constexpr std::size_t kLine = 64;
    auto* target = static_cast<unsigned char*>(to);
    auto* source = static_cast<const unsigned char*>(from);
    // Only whole lines are faster. Parts of a line are copied the normal way.
    const std::size_t head = std::min<std::size_t>(-reinterpret_cast<std::uintptr_t>(target) % kLine, count);
    std::memcpy(target, source, head);
    target += head;
    source += head;
    count -= head;
    for (; count >= kLine; count -= kLine, target += kLine, source += kLine) {
        for (std::size_t part = 0; part < kLine; part += sizeof(__m128i)) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + part));
            _mm_stream_si128(reinterpret_cast<__m128i*>(target + part), bytes);
        }
    }
    std::memcpy(target, source, count);
}

void finishStreaming()
{
    _mm_sfence();
}

} // namespace svinternal
