#pragma once

#include "storage/values/KRAnyArray.h"

#include <string>

namespace storage {

// The types of arrays that the ascii format has.
bool hasAsciiForm(ElementType type);
// The lines of an array as the ascii format has them: the type word, the dimensions, the numbers and the "*".
std::string asciiLinesOf(const KRAnyArray& array);

} // namespace storage
