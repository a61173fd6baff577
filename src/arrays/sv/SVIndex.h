#pragma once

#include "arrays/sv/SVIntArray.h"

// A subscript: one position, a stride over positions, or a list of them. It is made without an array, and
// SetLength() binds it to the length of one before use.
//
// A start or an end below -12562 counts from the last index: -12563 is the last one, -12563 + k is k beyond
// it.
class SVIndex {
public:
    static const SVIndex All; // From 0 to the last index.
    static constexpr long FromEnd = -12563; // As a start or an end: the last index.

    SVIndex() = default; // The empty index.
    SVIndex(long i); // A negative i is reported and gives the empty index.
    SVIndex(long a, long b); // a to b, both included.
    SVIndex(long a, long s, long b); // Every s-th from a to b.
    SVIndex(const SVIntArray& positions); // The array is shared.
    SVIndex(const SVIndex& other);
    SVIndex& operator=(const SVIndex& other);

    // Binds the index to a length: resolves positions that count from the end, and tests the bounds. False,
    // with a report, if it was bound before or doesn't lie in [0,L). A start beyond the end gives the empty
    // index, whatever the stride's sign: a descending index becomes empty. A negative start or end that
    // doesn't count from the last index isn't tested.
    bool SetLength(long L);

    long Length() const; // How many positions; 0 for a stride of 0.
    bool IsEmpty() const { return arraySpecified ? specifiedArray.IsEmpty() : stride == 0; }
    SVIntArray IndicesAsArray() const;

    long Start() const { return start; }
    long Stride() const { return stride; }
    long End() const { return end; }
    bool ArraySpecified() const { return arraySpecified; }
    const SVIntArray& SpecifiedArray() const { return specifiedArray; }

private:
    bool lengthIsSet = false;
    long length = 0; // The length that the index is bound to.
    long start = 0;
    long stride = 0; // 0 marks the empty index.
    long end = 0; // Included.
    bool arraySpecified = false;
    SVIntArray specifiedArray;
};

// Inline, so that it is constructed before the static objects of files that include this header.
inline const SVIndex SVIndex::All(0, SVIndex::FromEnd);

// All positions shifted, as an index that isn't bound to a length.
SVIndex operator+(const SVIndex& index, int shift);
SVIndex operator-(const SVIndex& index, int shift);
