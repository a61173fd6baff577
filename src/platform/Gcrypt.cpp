#include "platform/Gcrypt.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gcrypt.h>
#include <malloc.h>
#include <map>
#include <memory_resource>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <sys/mman.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace platform {

namespace {

// The leak check of the address sanitizer doesn't look into pages of this kind by itself, and would miss the
// pointers in them.
#ifdef __SANITIZE_ADDRESS__
void watchForLeaks(const void* pages, std::size_t size)
{
    __lsan_register_root_region(pages, size);
}
void unwatchForLeaks(const void* pages, std::size_t size)
{
    __lsan_unregister_root_region(pages, size);
}
#else
void watchForLeaks(const void*, std::size_t) { }
void unwatchForLeaks(const void*, std::size_t) { }
#endif

// Whole pages that the system neither swaps out nor dumps, as far as the limit on locked memory reaches.
class LockedPages : public std::pmr::memory_resource {
public:
    bool contains(const void* at) const
    {
        const std::shared_lock lock(mutex_);
        const auto address = reinterpret_cast<std::uintptr_t>(at);
        const auto after = regions_.upper_bound(address);
        return after != regions_.begin() && address - std::prev(after)->first < std::prev(after)->second;
    }

private:
    void* do_allocate(std::size_t size, std::size_t) override
    {
        void* pages = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED)
            throw std::bad_alloc();
        (void)::mlock(pages, size);
        (void)::madvise(pages, size, MADV_DONTDUMP);
        watchForLeaks(pages, size);
        const std::unique_lock lock(mutex_);
        regions_[reinterpret_cast<std::uintptr_t>(pages)] = size;
        return pages;
    }
    void do_deallocate(void* pages, std::size_t size, std::size_t) override
    {
        const std::unique_lock lock(mutex_);
        regions_.erase(reinterpret_cast<std::uintptr_t>(pages));
        unwatchForLeaks(pages, size);
        ::munmap(pages, size);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

    mutable std::shared_mutex mutex_;
    std::map<std::uintptr_t, std::size_t> regions_; // Address and bytes.
};

struct SecureMemory {
    LockedPages pages;
    std::pmr::synchronized_pool_resource pool{&pages};
};

SecureMemory& secureMemory()
{
    // Never destroyed: the library frees blocks until the process ends.
    static auto* memory = new SecureMemory;
    return *memory;
}

constexpr std::size_t kHeader = alignof(std::max_align_t); // Holds the size of a secure block.

// Bytes taken from the pool. A pool for blocks of 24 bytes would not be aligned for all types.
std::size_t withHeader(std::size_t size)
{
    return (size + kHeader - 1) / kHeader * kHeader + kHeader;
}

int isSecure(const void* block)
{
    return secureMemory().pages.contains(block) ? 1 : 0;
}

void* allocateSecure(std::size_t size)
{
    try {
        auto* block = static_cast<std::byte*>(secureMemory().pool.allocate(withHeader(size)));
        std::memcpy(block, &size, sizeof size);
        return block + kHeader;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return nullptr;
    }
}

std::size_t sizeOf(void* block)
{
    if (!isSecure(block))
        return ::malloc_usable_size(block);
    std::size_t size = 0;
    std::memcpy(&size, static_cast<std::byte*>(block) - kHeader, sizeof size);
    return size;
}

void wipeAndFree(void* block)
{
    if (!block)
        return;
    const std::size_t size = sizeOf(block);
    ::explicit_bzero(block, size);
    if (isSecure(block))
        secureMemory().pool.deallocate(static_cast<std::byte*>(block) - kHeader, withHeader(size));
    else
        std::free(block);
}

void* reallocate(void* block, std::size_t size)
{
    void* moved = block && isSecure(block) ? allocateSecure(size) : std::malloc(size);
    if (moved && block) {
        std::memcpy(moved, block, std::min(size, sizeOf(block)));
        wipeAndFree(block);
    }
    return moved;
}

// The library reads the prime of a curve's field at the curve's first use and keeps it in a table without a
// lock: two threads that use a curve for the first time would race, and one of the numbers would leak.
void readFieldsOfCurves()
{
    for (const char* curve : {"NIST P-256", "NIST P-384", "NIST P-521", "Curve25519", "Ed25519"}) {
        gcry_ctx_t context = nullptr;
        if (gcry_mpi_ec_new(&context, nullptr, curve) == 0)
            gcry_ctx_release(context);
    }
}

} // namespace

void setUpGcrypt()
{
    static std::once_flag once;
    std::call_once(once, [] {
        if (!gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P)) {
            // Blocks that the library has made by its own means must go back the same way.
            if (!gcry_control(GCRYCTL_ANY_INITIALIZATION_P))
                gcry_set_allocation_handler(std::malloc, allocateSecure, isSecure, reallocate, wipeAndFree);
            gcry_check_version(nullptr);
            gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
        }
        readFieldsOfCurves();
    });
}

} // namespace platform
