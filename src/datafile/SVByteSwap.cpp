#include "datafile/SVByteSwap.h"

#include "arrays/kernels/SVByteGroups.h"

namespace {

template <int width>
void swapWholeGroups(unsigned char* bytes, unsigned long length)
{
    if (length % width == 0)
        svinternal::swapGroups<width>(bytes, static_cast<long>(length));
}

} // namespace

void SVSwap2Bytes(unsigned char* bytes, unsigned long length)
{
    swapWholeGroups<2>(bytes, length);
}

void SVSwap4Bytes(unsigned char* bytes, unsigned long length)
{
    swapWholeGroups<4>(bytes, length);
}

void SVSwap8Bytes(unsigned char* bytes, unsigned long length)
{
    swapWholeGroups<8>(bytes, length);
}
