#pragma once

#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ssh {

using platform::Error;
using platform::Result;
using platform::Status;

// Overwrites memory with zeros; the compiler doesn't optimise it away.
void wipe(void* memory, std::size_t size);

// Overwrites memory before it is freed. Passwords, keys and shared secrets pass through the same buffers as
// other data, so all of these are wiped.
template <typename T>
struct WipingAllocator {
    using value_type = T;
    WipingAllocator() = default;
    template <typename U>
    WipingAllocator(const WipingAllocator<U>&)
    { }
    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* memory, std::size_t count)
    {
        wipe(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }
    bool operator==(const WipingAllocator&) const { return true; }
};

using Bytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;
using ByteView = std::span<const std::uint8_t>;

inline ByteView viewOf(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string_view textOf(ByteView bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline Bytes copyOf(ByteView bytes)
{
    return Bytes(bytes.begin(), bytes.end());
}

inline void append(Bytes& to, ByteView bytes)
{
    to.insert(to.end(), bytes.begin(), bytes.end());
}

bool equal(ByteView a, ByteView b);

// Takes the same time wherever the two differ, unless their lengths do.
bool equalInConstantTime(ByteView a, ByteView b);

// A text from the peer made safe for a log line or a terminal: control characters and bytes that aren't UTF-8
// become "?", and it is cut after `limit` bytes.
std::string printable(std::string_view text, std::size_t limit = 200);

std::string toBase64(ByteView bytes);
// Skips blanks and line ends. Nothing when the rest isn't base64.
std::optional<Bytes> fromBase64(std::string_view text);

// A queue of bytes in one contiguous buffer: appended at the end, consumed at the front.
class ByteQueue {
public:
    ByteQueue() = default;
    ~ByteQueue() { release(); }
    ByteQueue(const ByteQueue&) = delete;
    ByteQueue& operator=(const ByteQueue&) = delete;

    std::size_t size() const { return end_ - begin_; }
    bool empty() const { return begin_ == end_; }
    ByteView view() const { return {memory_.get() + begin_, size()}; }
    std::uint8_t* data() { return memory_.get() + begin_; }

    // Room for `count` more bytes at the end. `commit` adds the first of them to the queue.
    std::uint8_t* prepare(std::size_t count);
    void commit(std::size_t count) { end_ += count; }
    void append(ByteView bytes);
    void consume(std::size_t count);
    void clear() { consume(size()); }
    void release(); // Empties the queue and frees its memory.

private:
    std::unique_ptr<std::uint8_t[]> memory_;
    std::size_t capacity_ = 0;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

} // namespace ssh
