#include "arrays/kernels/SVTransposition.h"

#include "arrays/kernels/SVElementCopy.h"
#include "arrays/kernels/SVTransposeBlock.h"

#include <cstdint>

namespace svinternal {

template <class T>
void transpose(const T* from, long m, long n, long o, T* to)
{
    const long count = m * n * o;
    if (count == m || count == n || count == o) { // The layout doesn't change.
        copyElements(from, count, to);
        return;
    }
    // A layer is spanned by the first index and the index that becomes the first.
    const long rows = m;
    const long columns = o > 1 ? o : n;
    const long layers = o > 1 ? n : 1;
    constexpr long kLongRow = 256;
    const long size = static_cast<long>(sizeof(T));
    const bool streamed = columns * size >= kLongRow && count * size >= kStreamedSize;
    for (long j = 0; j < layers; ++j)
        LayerTransposition<T>(from + j * m, m * layers, to + j * columns, columns * layers, rows, columns)
            .run(streamed);
    finishStreaming();
}

template void transpose(const double*, long, long, long, double*);
template void transpose(const float*, long, long, long, float*);
template void transpose(const std::int32_t*, long, long, long, std::int32_t*);
template void transpose(const std::int16_t*, long, long, long, std::int16_t*);
template void transpose(const std::uint16_t*, long, long, long, std::uint16_t*);
template void transpose(const signed char*, long, long, long, signed char*);
template void transpose(const unsigned char*, long, long, long, unsigned char*);

} // namespace svinternal
