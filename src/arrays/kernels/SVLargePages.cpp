#include "arrays/kernels/SVLargePages.h"

#ifdef __linux__
#include <cstdint>
#include <sys/mman.h>
#endif

namespace svinternal {

#ifdef __linux__

void adviseLargePages(void* block, std::size_t size)
{
    constexpr std::size_t kLargePage = std::size_t{2} << 20;
    constexpr std::size_t kLeastSize =
        4 * kLargePage; // In a smaller block, pages that are used in part would waste too much.
    if (size < kLeastSize)
        return;
    const std::size_t before = -reinterpret_cast<std::uintptr_t>(block) % kLargePage;
    const std::size_t inside = (size - before) / kLargePage * kLargePage;
    ::madvise(static_cast<char*>(block) + before, inside, MADV_HUGEPAGE);
}

#else

void adviseLargePages(void*, std::size_t) { }

#endif

} // namespace svinternal
