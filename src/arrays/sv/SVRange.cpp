#include "arrays/sv/SVRange.h"

SVRange Intersection(const SVRange& A, const SVRange& B)
{
    const SVRange& later = A.start >= B.start ? A : B;
    const SVRange& earlier = A.start >= B.start ? B : A;
    if (earlier.end() < later.start)
        return SVRange();
    return later.end() >= earlier.end() ? SVRange(later.start, earlier.end() - later.start) : later;
}
