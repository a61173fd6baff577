#pragma once

#include "storage/values/KRAnyArray.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>

// The message that carries named variables over a stream; docs/socket-messages.md tells its bytes.
namespace storage {

using MemoryValue = std::variant<std::string, KRAnyArray>;
using MemoryContent = std::map<std::string, MemoryValue>;

// The two directions of a stream. Both return once everything has gone through or the peer has gone.
class ByteChannel {
public:
    virtual ~ByteChannel() = default;
    virtual bool send(const void* bytes, std::size_t count) = 0; // Whether all of them went out.
    virtual std::size_t receive(void* into, std::size_t count) = 0; // How many came.
};

inline constexpr std::string_view kMessageStart = "SVDataContainerStart";
inline constexpr std::uint32_t kMostVariables = 65536; // A larger count tells the other byte order.
inline constexpr std::int32_t kLongestName = 1024; // Bytes.

// Whether a message can carry the content, so that a receiver reads what was sent.
bool fitsIntoAMessage(const MemoryContent& content);

// What stands behind the start of a message, in this machine's byte order. False once the peer has gone.
bool sendVariables(ByteChannel& channel, const MemoryContent& content);

// The same from either byte order. Variables are handed over one by one, arrays as read-only ones; those
// before a failure stay. False for a message that is broken or torn. Memory grows with the bytes that
// have come, not with the lengths that the peer claims.
bool receiveVariables(
    ByteChannel& channel, const std::function<void(const std::string& name, MemoryValue)>& take);

} // namespace storage
