#pragma once

#include <array>
#include <cstddef>

namespace diagnostics {

// The return addresses of a thread's functions, the innermost first.
struct Frames {
    std::array<void*, 128> addresses;
    std::size_t count = 0;

    void take(); // Of the calling thread; the caller's own frame is the first.
};

// Where this thread has thrown last; without frames before its first throw. Every throw of the process is
// recorded: that costs it some microseconds.
const Frames& framesOfLastThrow();

} // namespace diagnostics
