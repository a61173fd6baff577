#include "arrays/sv/SVArrayCopying.h"

#include "arrays/sv/SVArrayInternal.h"

using namespace svinternal;

namespace {

template <class T>
long columnsOf(const SVArray<T>& A)
{
    return A.n() * A.o();
}

// Copies the units (positions or whole columns, `width` elements each) `from` of the source to the target,
// starting at `offset`. Reports units that lie outside.
template <class T>
void copyUnits(const char* word, SVMutableArray<T>& M, long unitsOfM, long offset, const SVArray<T>& A,
    long unitsOfA, const SVRange& from, long width)
{
    if (!liesIn(SVRange(offset, from.length < 0 ? 0 : from.length), unitsOfM)) {
        SVErrorMessage(word, "Invalid destination range");
        return;
    }
    if (!liesIn(from, unitsOfA)) {
        SVErrorMessage(word, "Invalid source range");
        return;
    }
    copyElements(A.Pointer() + from.start * width, from.length * width, M.Pointer() + offset * width);
}

template <class T>
void copyPositions(
    const char* word, SVMutableArray<T>& M, long offset, const SVArray<T>& A, const SVRange& from)
{
    copyUnits(word, M, M.Length(), offset, A, A.Length(), from, 1);
}

template <class T>
void copyColumns(
    const char* word, SVMutableArray<T>& M, long column, const SVArray<T>& A, const SVRange& from)
{
    if (M.m() != A.m()) { // The text says columns; their length has to agree.
        SVErrorMessage(word, "Need to be the same number of columns");
        return;
    }
    copyUnits(word, M, columnsOf(M), column, A, columnsOf(A), from, A.m());
}

bool isCount(const char* word, long count)
{
    if (count < 0)
        SVErrorMessage(word, "Invalid number of entries to copy");
    return count >= 0;
}

constexpr const char* kCopy = "MemoryCopy";
constexpr const char* kCopyColumns = "MemoryCopyColumns";
constexpr const char* kMove = "MemoryMove";
constexpr const char* kMoveColumns = "MemoryMoveColumns";

void addScaled(double* to, const double* from, long count, double scale)
{
    for (long i = 0; i < count; ++i)
        to[i] += scale * from[i];
}

} // namespace

template <class T>
void CopyValues(SVMutableArray<T>& M, const SVArray<T>& A)
{
    if (!sameSize(M, A)) {
        const std::string stem = SVArrayMemberOf<T>.stem;
        SVErrorMessage("CopyValues(Mutable" + stem + "Array," + stem + "Array)", "Incompatible sizes");
        return;
    }
    copyElements(A.Pointer(), A.Length(), M.Pointer());
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)>>
void CopyIntoColumn(SVMutableArray<T>& M, const SVArray<T>& list, long j)
{
    // The int form reports under the name of its neighbour. Users search logs for it: don't change it.
    constexpr bool isInt = std::is_same_v<T, std::int32_t>;
    constexpr const char* word = isInt ? "CopyIntoColumns(into,list,j)" : "CopyIntoColumn(into,list,j)";
    if (M.m() != list.Length())
        SVErrorMessage(word, "Need into.m()==list.Length()");
    else if (M.o() > 1)
        SVErrorMessage(word, "into is a 3D array (into.o()>1)");
    else if (j < 0 || j >= M.n())
        SVErrorMessage(word, "j out of bounds");
    else
        copyElements(list.Pointer(), M.m(), M.Pointer() + j * M.m());
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Columns)>>
void CopyIntoColumns(SVMutableArray<T>& M, const SVRange& Rm, const SVArray<T>& A, const SVRange& Ra)
{
    constexpr const char* word = "CopyIntoColumns(into,range,from,range)";
    if (M.o() > 1 || A.o() > 1)
        SVErrorMessage(word, "into is a 3D array (into.o()>1 or from.o()>1)");
    else if (!liesIn(Rm, M.n()) || !liesIn(Ra, A.n()))
        SVErrorMessage(word, "Out of bounds");
    else if (Rm.length != Ra.length)
        SVErrorMessage(word, "fromRange.length!=toRange.length");
    else if (A.m() != M.m())
        SVErrorMessage(word, "from.m()!=to.m()");
    else
        copyElements(A.Pointer() + Ra.start * A.m(), Ra.length * A.m(), M.Pointer() + Rm.start * M.m());
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)>>
void MemoryCopy(SVMutableArray<T>& M, long offset, const SVArray<T>& A)
{
    copyPositions(kCopy, M, offset, A, SVRange(0, A.Length()));
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)>>
void MemoryCopy(SVMutableArray<T>& M, long offset, const SVArray<T>& A, const SVRange& R)
{
    copyPositions(kCopy, M, offset, A, R);
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)>>
void MemoryCopyColumns(SVMutableArray<T>& M, long column, const SVArray<T>& A, const SVRange& R)
{
    copyColumns(kCopyColumns, M, column, A, R);
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)>>
void MemoryMove(SVMutableArray<T>& M, long offset, const SVRange& R)
{
    copyPositions(kMove, M, offset, M, R);
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::MemoryCopy)>>
void MemoryMoveColumns(SVMutableArray<T>& M, long column, const SVRange& R)
{
    copyColumns(kMoveColumns, M, column, M, R);
}

void MemoryCopy(SVMutableIntArray& M, long offset, const SVIntArray& A, long from, long count)
{
    if (isCount(kCopy, count))
        copyPositions(kCopy, M, offset, A, SVRange(from, count));
}

void MemoryCopyColumns(SVMutableIntArray& M, long column, const SVIntArray& A, long from, long count)
{
    if (isCount(kCopyColumns, count))
        copyColumns(kCopyColumns, M, column, A, SVRange(from, count));
}

void MemoryMove(SVMutableIntArray& M, long offset, long from, long count)
{
    if (isCount(kMove, count))
        copyPositions(kMove, M, offset, M, SVRange(from, count));
}

void MemoryMoveColumns(SVMutableIntArray& M, long column, long from, long count)
{
    if (isCount(kMoveColumns, count))
        copyColumns(kMoveColumns, M, column, M, SVRange(from, count));
}

void CopyValuesIntoAndAdd(SVMutableIntArray& M, long offset, const SVIntArray& A, int add)
{
    if (!liesIn(SVRange(offset, A.Length()), M.Length())) {
        SVErrorMessage("CopyValuesInto(array,offset,array)", "Copying outside the valid range.");
        return;
    }
    // Copied first and added to afterwards: the source may be in the same block.
    std::int32_t* const to = M.Pointer() + offset;
    copyElements(A.Pointer(), A.Length(), to);
    const long length = A.Length();
    for (long i = 0; i < length; ++i)
        to[i] = wrapped(asUnsigned(to[i]) + asUnsigned(add));
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Numeric)>>
void AddToColumnRange(SVMutableArray<T>& M, const SVRange& R, const SVArray<T>& A)
{
    if (!liesIn(R, M.n()) || R.length != A.n() || M.m() != A.m() || M.o() > 1 || A.o() > 1) {
        SVErrorMessage("AddToColumnRange(MutableDoubleArray,Range,DoubleArray)", "Incompatible sizes");
        return;
    }
    addScaled(M.Pointer() + R.start * M.m(), A.Pointer(), A.Length(), 1.0);
}

template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::Numeric)>>
void AddToColumnRange(
    SVMutableArray<T>& M, const SVRange& R, const SVArray<T>& A, const SVRange& Ra, SVArrayNumber<T> scale)
{
    const bool rangesFit = liesIn(R, M.n()) && liesIn(Ra, A.n()) && R.length == Ra.length;
    if (!rangesFit || M.m() != A.m() || M.o() > 1 || A.o() > 1) {
        SVErrorMessage(
            "AddToColumnRange(MutableDoubleArray,Range,DoubleArray,Range,double)", "Incompatible sizes");
        return;
    }
    addScaled(M.Pointer() + R.start * M.m(), A.Pointer() + Ra.start * A.m(), Ra.length * A.m(), scale);
}

template void AddToColumnRange(SVMutableDoubleArray&, const SVRange&, const SVDoubleArray&);
template void AddToColumnRange(
    SVMutableDoubleArray&, const SVRange&, const SVDoubleArray&, const SVRange&, double);
template void MemoryCopy(SVMutableIntArray&, long, const SVIntArray&);

#define SV_INSTANTIATE_COLUMNS(T)                                                                            \
    template void CopyIntoColumn(SVMutableArray<T>&, const SVArray<T>&, long);                               \
    template void CopyIntoColumns(SVMutableArray<T>&, const SVRange&, const SVArray<T>&, const SVRange&);

#define SV_INSTANTIATE_MEMORY(T)                                                                             \
    template void MemoryCopy(SVMutableArray<T>&, long, const SVArray<T>&);                                   \
    template void MemoryCopy(SVMutableArray<T>&, long, const SVArray<T>&, const SVRange&);                   \
    template void MemoryCopyColumns(SVMutableArray<T>&, long, const SVArray<T>&, const SVRange&);            \
    template void MemoryMove(SVMutableArray<T>&, long, const SVRange&);                                      \
    template void MemoryMoveColumns(SVMutableArray<T>&, long, const SVRange&);

template void CopyValues(SVMutableDoubleArray&, const SVDoubleArray&);
template void CopyValues(SVMutableFloatArray&, const SVFloatArray&);
template void CopyValues(SVMutableIntArray&, const SVIntArray&);
template void CopyValues(SVMutableShortIntArray&, const SVShortIntArray&);
template void CopyValues(SVMutableUShortIntArray&, const SVUShortIntArray&);
template void CopyValues(SVMutableCharArray&, const SVCharArray&);
template void CopyValues(SVMutableUCharArray&, const SVUCharArray&);
SV_INSTANTIATE_COLUMNS(double)
SV_INSTANTIATE_COLUMNS(float)
SV_INSTANTIATE_COLUMNS(std::int32_t)
SV_INSTANTIATE_MEMORY(double)
SV_INSTANTIATE_MEMORY(float)
SV_INSTANTIATE_MEMORY(std::int16_t)

#undef SV_INSTANTIATE_COLUMNS
#undef SV_INSTANTIATE_MEMORY
