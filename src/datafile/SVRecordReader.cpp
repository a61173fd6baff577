#include "datafile/SVRecordReader.h"

#include <limits>

std::string SVRecordReader::TakeName()
{
    const void* end = left_ > 0 ? std::memchr(next_, 0, left_) : nullptr;
    const std::size_t length =
        end ? static_cast<std::size_t>(static_cast<const unsigned char*>(end) - next_) : left_;
    std::string name(reinterpret_cast<const char*>(next_), length);
    Skip(end ? length + 1 : length);
    nameWasCut_ = !end;
    return name;
}

long long SVEndOfData(long long location, int m, int n, int o, int elementSize)
{
    if (m < 0 || n < 0 || o < 0)
        return -1;
    // Each factor has at most 31 bits. The product is tested before each multiplication that could overflow.
    const unsigned long long most = std::numeric_limits<long long>::max();
    unsigned long long bytes = static_cast<unsigned long long>(m) * static_cast<unsigned long long>(n);
    for (const int factor : {o, elementSize}) {
        const auto times = static_cast<unsigned long long>(factor);
        if (times != 0 && bytes > most / times)
            return std::numeric_limits<long long>::max();
        bytes *= times;
    }
    if (location > 0 && bytes > most - static_cast<unsigned long long>(location))
        return std::numeric_limits<long long>::max();
    return location + static_cast<long long>(bytes);
}
