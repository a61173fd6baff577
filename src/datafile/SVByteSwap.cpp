#include "datafile/SVByteSwap.h"

#include <cstdint>
#include <cstring>

namespace {

std::uint16_t reversed(std::uint16_t value)
{
    return __builtin_bswap16(value);
}
std::uint32_t reversed(std::uint32_t value)
{
    return __builtin_bswap32(value);
}
std::uint64_t reversed(std::uint64_t value)
{
    return __builtin_bswap64(value);
}

template <class Word>
void swapWords(unsigned char* bytes, unsigned long length)
{
    if (length % sizeof(Word) != 0)
        return;
    for (unsigned long place = 0; place < length; place += sizeof(Word)) {
        Word word;
        std::memcpy(&word, bytes + place, sizeof word);
        word = reversed(word);
        std::memcpy(bytes + place, &word, sizeof word);
    }
}

} // namespace

void SVSwap2Bytes(unsigned char* bytes, unsigned long length)
{
    swapWords<std::uint16_t>(bytes, length);
}

void SVSwap4Bytes(unsigned char* bytes, unsigned long length)
{
    swapWords<std::uint32_t>(bytes, length);
}

void SVSwap8Bytes(unsigned char* bytes, unsigned long length)
{
    swapWords<std::uint64_t>(bytes, length);
}
