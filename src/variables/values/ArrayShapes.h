#pragma once

#include "storage/values/KRAnyArray.h"

#include <array>
#include <functional>

namespace variables {

// A position in an array: row, column, layer.
using ArrayPosition = std::array<long, 3>;

// A new array of these dimensions and the same type, whose element at a position is the old one's element at
// `from` that position, which must lie inside. None without memory.
KRAnyArray rearranged(const KRAnyArray& array, const ArrayPosition& dimensions,
    const std::function<ArrayPosition(const ArrayPosition&)>& from);

} // namespace variables
