#include "arrays/kernels/SVTransposition.h"

#include "arrays/kernels/SVElementCopy.h"
#include "arrays/kernels/SVTransposeBlock.h"

#include <algorithm>
#include <complex>
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

// A complex number has the size of a whole register: there is nothing to interleave.
template <>
void transpose(const std::complex<double>* from, long m, long n, long o, std::complex<double>* to)
{
    const long rows = m;
    const long columns = o > 1 ? o : n;
    const long layers = o > 1 ? n : 1;
    constexpr long kTile = 16;
    for (long j = 0; j < layers; ++j)
        for (long k0 = 0; k0 < columns; k0 += kTile)
            for (long i = 0; i < rows; ++i)
                for (long k = k0; k < std::min(k0 + kTile, columns); ++k)
                    to[k + (j + i * layers) * columns] = from[i + (j + k * layers) * m];
}

template void transpose(const double*, long, long, long, double*);
template void transpose(const float*, long, long, long, float*);
template void transpose(const std::int32_t*, long, long, long, std::int32_t*);
template void transpose(const std::int64_t*, long, long, long, std::int64_t*);
template void transpose(const std::uint64_t*, long, long, long, std::uint64_t*);
template void transpose(const std::int16_t*, long, long, long, std::int16_t*);
template void transpose(const std::uint16_t*, long, long, long, std::uint16_t*);
template void transpose(const signed char*, long, long, long, signed char*);
template void transpose(const unsigned char*, long, long, long, unsigned char*);

} // namespace svinternal
