#include "arrays/kernels/SVStreamingCopy.h"

#include <cstring>

namespace svinternal {

void streamingCopy(void* to, const void* from, std::size_t count)
{
    std::memcpy(to, from, count);
}

void finishStreaming() { }

} // namespace svinternal
