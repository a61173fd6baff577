#include "diagnostics/ThrowRecorder.h"

#include <cstdlib>
#include <dlfcn.h>
#include <execinfo.h>
#include <typeinfo>

namespace diagnostics {

namespace {

Frames& lastThrow()
{
    static thread_local Frames frames;
    return frames;
}

} // namespace

void Frames::take()
{
    const int taken = ::backtrace(addresses.data(), static_cast<int>(addresses.size()));
    count = taken > 0 ? static_cast<std::size_t>(taken) : 0;
}

const Frames& framesOfLastThrow()
{
    return lastThrow();
}

} // namespace diagnostics

// Takes the place of the C++ runtime's function of this name (Itanium C++ ABI, 2.4.3), and calls it.
extern "C" [[noreturn]] __attribute__((visibility("default"))) void __cxa_throw(
    void* thrown, std::type_info* type, void (*destroy)(void*))
{
    using Throw = void (*)(void*, std::type_info*, void (*)(void*));
    static const auto next = reinterpret_cast<Throw>(::dlsym(RTLD_NEXT, "__cxa_throw"));
    diagnostics::lastThrow().take();
    if (next)
        next(thrown, type, destroy);
    std::abort();
}
