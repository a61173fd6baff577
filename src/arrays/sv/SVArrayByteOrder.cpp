#include "arrays/sv/SVArrayByteOrder.h"

#include "arrays/kernels/SVByteGroups.h"
#include "arrays/sv/SVErrorMessage.h"

using namespace svinternal;

namespace {

template <int width>
void swapBytes(SVMutableUCharArray& M, const char* functionWord, const char* message)
{
    if (M.m() % width != 0)
        SVErrorMessage(functionWord, message);
    else
        swapGroups<width>(M.Pointer(), M.Length());
}

} // namespace

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::SwapEndian)>>
void SwapEndian(SVMutableArray<T>& M)
{
    constexpr int width = static_cast<int>(sizeof(T));
    swapGroups<width>(M.Pointer(), M.Length() * width);
}

void Swap2Bytes(SVMutableUCharArray& M)
{
    swapBytes<2>(M, "Swap2Bytes(UCharArray)", "First array dimension needs to be even.");
}

void Swap4Bytes(SVMutableUCharArray& M)
{
    swapBytes<4>(M, "Swap4Bytes(UCharArray)", "First array dimension needs to be divisible by 4.");
}

void Swap8Bytes(SVMutableUCharArray& M)
{
    swapBytes<8>(M, "Swap8Bytes(UCharArray)", "First array dimension needs to be divisible by 8.");
}

template void SwapEndian(SVMutableDoubleArray&);
template void SwapEndian(SVMutableFloatArray&);
template void SwapEndian(SVMutableIntArray&);
template void SwapEndian(SVMutableShortIntArray&);
template void SwapEndian(SVMutableUShortIntArray&);
