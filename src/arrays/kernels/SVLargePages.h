#pragma once

#include <cstddef>

namespace svinternal {

// Asks the system to back a new block by large pages, if it has such pages and the block holds some. The
// first touch of many small pages costs more than most operations on the array. A hint, which changes nothing
// else.
void adviseLargePages(void* block, std::size_t size);

} // namespace svinternal
