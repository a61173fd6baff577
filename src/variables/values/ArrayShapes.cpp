#include "variables/values/ArrayShapes.h"

namespace variables {

KRAnyArray rearranged(const KRAnyArray& array, const ArrayPosition& dimensions,
    const std::function<ArrayPosition(const ArrayPosition&)>& from)
{
    const long m = dimensions[0], n = dimensions[1], o = dimensions[2];
    KRAnyArray result = KRAnyArray::make(array.type(), m, n, o);
    if (!result || result.length() == 0)
        return result;
    // The map is affine in the row, so that two rows tell where a column's elements lie.
    const auto offsetOf = [&array](const ArrayPosition& p) {
        return p[0] + array.m() * (p[1] + array.n() * p[2]);
    };
    withElementType(array.type(), [&]<class T>(std::type_identity<T>) {
        const T* const old = array.as<T>()->constPointer();
        T* next = result.as<T>()->mutablePointer();
        for (long k = 0; k < o; ++k)
            for (long j = 0; j < n; ++j) {
                const long first = offsetOf(from({0, j, k}));
                const long step = m > 1 ? offsetOf(from({1, j, k})) - first : 0;
                for (long i = 0; i < m; ++i)
                    *next++ = old[first + i * step];
            }
    });
    return result;
}

} // namespace variables
