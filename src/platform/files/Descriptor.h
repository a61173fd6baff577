#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <string_view>
#include <utility>

namespace platform {

// Owns a file descriptor. One thread at a time.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) { }
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) { }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        reset(other.release());
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }
    int release() { return std::exchange(number_, -1); }
    void reset(int number = -1);
    // Closes and tells whether all that was written has been taken: a full quota shows only here.
    Status close();

private:
    int number_ = -1;
};

bool interrupted(); // The last system call of this thread was ended by a signal.

// The system call again for as long as a signal interrupts it.
template <typename Call>
auto retryInterrupted(Call call)
{
    auto result = call();
    while (result == -1 && interrupted())
        result = call();
    return result;
}

// Writes all of the bytes. A descriptor that doesn't block may take no more for now: that is a failure, or it
// is waited for.
enum class WhenFull { Fail, Wait };
Status writeAll(int descriptor, std::string_view bytes, WhenFull whenFull = WhenFull::Fail);

// Asks once for a lock on the open file or folder. It lasts until the descriptor is closed, and keeps out
// only those who ask for the lock too. Impossible: the file system has no locks.
enum class LockKind { Shared, Exclusive };
enum class LockAnswer { Held, Taken, Impossible };
LockAnswer tryLock(int descriptor, LockKind kind);

} // namespace platform
