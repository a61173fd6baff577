#pragma once

// Not for programs.

#include <cstddef>

namespace svinternal {

// Asks the system to back a new block by large pages, where it knows such and the block is large enough to
// hold some: the first touch of so many small ones would cost more than most operations on the array, and so
// would finding them again in a walk across it. A hint, which changes nothing else.
void adviseLargePages(void* block, std::size_t size);

} // namespace svinternal
