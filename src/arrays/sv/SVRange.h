#pragma once

// Consecutive positions: `length` of them, the first being `start`. Nothing is tested here: the operations
// that take a range test it against their array.
struct SVRange {
    long start = 0;
    long length = 0;

    SVRange() = default;
    SVRange(long firstEntry, long howMany) : start(firstEntry), length(howMany) { }

    long end() const { return start + length; } // One past the last entry.
};

// The positions that A and B have in common. Two ranges that only touch give a range of length 0 at the
// touching point; two that are apart give (0,0).
SVRange Intersection(const SVRange& A, const SVRange& B);
