#pragma once

#include <cstddef>
#include <cstring>

namespace svinternal {

// The block copy. Source and target may overlap.
template <class T>
void copyElements(const T* from, long count, T* to)
{
    if (count > 0)
        std::memmove(to, from, static_cast<std::size_t>(count) * sizeof(T));
}

} // namespace svinternal
