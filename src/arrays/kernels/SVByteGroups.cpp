#include "arrays/kernels/SVByteGroups.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace svinternal {

namespace {

// Exchanges neighbouring groups of `bits` bits throughout a word.
constexpr std::uint64_t exchanged(std::uint64_t word, int bits, std::uint64_t lowerGroups)
{
    return ((word & lowerGroups) << bits) | ((word >> bits) & lowerGroups);
}

template <int width>
constexpr std::uint64_t swapped(std::uint64_t word)
{
    word = exchanged(word, 8, 0x00ff00ff00ff00ffU);
    if constexpr (width >= 4)
        word = exchanged(word, 16, 0x0000ffff0000ffffU);
    if constexpr (width >= 8)
        word = exchanged(word, 32, 0x00000000ffffffffU);
    return word;
}

} // namespace

// Works on words of eight bytes, whatever the width of the groups; the copies are single loads and stores.
template <int width>
void swapGroups(void* data, long count)
{
    auto* const bytes = static_cast<unsigned char*>(data);
    const long whole = count - count % 8;
    for (long i = 0; i < whole; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes + i, 8);
        word = swapped<width>(word);
        std::memcpy(bytes + i, &word, 8);
    }
    for (long i = whole; i + width <= count; i += width)
        for (int low = 0, high = width - 1; low < high; ++low, --high)
            std::swap(bytes[i + low], bytes[i + high]);
}

template void swapGroups<2>(void*, long);
template void swapGroups<4>(void*, long);
template void swapGroups<8>(void*, long);

} // namespace svinternal
