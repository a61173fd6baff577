#pragma once

// Not for programs: writing past the caches, for targets that are larger than these. On a processor for which
// there is no such way here these are a plain copy and nothing.

#include <cstddef>

namespace svinternal {

// The blocks must not overlap. The bytes may come into view of other threads only after finishStreaming().
void streamingCopy(void* to, const void* from, std::size_t count);

void finishStreaming();

} // namespace svinternal
