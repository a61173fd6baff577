#include "arrays/sv/SVIndex.h"

#include "arrays/sv/SVErrorMessage.h"

#include <algorithm>

namespace {

constexpr long kLastAbsolute = SVIndex::FromEnd + 1;

long resolved(long position, long length)
{
    return position < kLastAbsolute ? length - 1 + (position - SVIndex::FromEnd) : position;
}

SVIndex shifted(const SVIndex& index, long shift)
{
    if (!index.ArraySpecified())
        return SVIndex(index.Start() + shift, index.Stride(), index.End() + shift);
    SVMutableIntArray positions = index.SpecifiedArray().Copy();
    std::for_each(positions.Pointer(), positions.Pointer() + positions.Length(),
        [shift](std::int32_t& position) { position = static_cast<std::int32_t>(position + shift); });
    return SVIndex(positions);
}

} // namespace

SVIndex::SVIndex(long i)
{
    if (i < 0) {
        SVErrorMessage("Subscript error", "The subscript was negative.");
        return;
    }
    start = end = i;
    stride = 1;
}

SVIndex::SVIndex(long a, long b) : SVIndex(a, 1, b) { }

SVIndex::SVIndex(long a, long s, long b) : start(a), stride(s), end(b) { }

SVIndex::SVIndex(const SVIntArray& positions) : arraySpecified(true), specifiedArray(positions) { }

// An index without an array keeps the empty array of its own: All is one object for the whole process, and
// threads that copy it must not meet at the counter of its array.
SVIndex::SVIndex(const SVIndex& other)
    : lengthIsSet(other.lengthIsSet), length(other.length), start(other.start), stride(other.stride),
      end(other.end), arraySpecified(other.arraySpecified),
      specifiedArray(other.arraySpecified ? other.specifiedArray : SVIntArray())
{ }

SVIndex& SVIndex::operator=(const SVIndex& other)
{
    lengthIsSet = other.lengthIsSet;
    length = other.length;
    start = other.start;
    stride = other.stride;
    end = other.end;
    arraySpecified = other.arraySpecified;
    specifiedArray = other.arraySpecified ? other.specifiedArray : SVIntArray();
    return *this;
}

bool SVIndex::SetLength(long L)
{
    if (lengthIsSet) {
        SVErrorMessage("Index.SetLength(Len)", "Already set the length");
        return false;
    }
    if (arraySpecified) {
        const std::int32_t* const positions = specifiedArray.Pointer();
        const bool inside = std::all_of(positions, positions + specifiedArray.Length(),
            [L](std::int32_t position) { return position >= 0 && position < L; });
        if (!inside) {
            SVErrorMessage("SVIndex(Array)", "Array element out of bounds");
            return false;
        }
    } else {
        end = resolved(end, L);
        start = resolved(start, L);
        if (end >= L || start >= L) {
            SVErrorMessage("SVIndex(info)", "Index out of range");
            return false;
        }
        if (start > end)
            stride = 0;
    }
    length = L;
    lengthIsSet = true;
    return true;
}

long SVIndex::Length() const
{
    if (arraySpecified)
        return specifiedArray.Length();
    return stride == 0 ? 0 : (end - start) / stride + 1;
}

SVIntArray SVIndex::IndicesAsArray() const
{
    if (arraySpecified)
        return specifiedArray;
    // An unbound index can have its end before its start, and then has no positions.
    SVMutableIntArray positions(std::max(0L, Length()));
    std::int32_t* const p = positions.Pointer();
    for (long number = 0; number < positions.Length(); ++number)
        p[number] = static_cast<std::int32_t>(start + number * stride);
    return positions;
}

SVIndex operator+(const SVIndex& index, int shift)
{
    return shifted(index, shift);
}

SVIndex operator-(const SVIndex& index, int shift)
{
    return shifted(index, -static_cast<long>(shift));
}
