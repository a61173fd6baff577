#pragma once

#include "storage/values/ElementType.h"

#include <cstddef>

namespace storage {

// Converts elements from one type to another by plain casts. A number that doesn't fit gives what the machine
// gives. The blocks don't overlap.
void convertElements(ElementType from, const void* elements, std::size_t count, ElementType to, void* into);

// Reverses the bytes of each element, in place.
void swapElements(ElementType type, void* elements, std::size_t count);

} // namespace storage
