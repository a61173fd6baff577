#pragma once

#include "platform/plist/Value.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

// The messages of a named service, to bytes and back. ServiceConnection.h describes the format.
struct ServiceMessage {
    enum class Kind { OneWay, Call, Reply };
    Kind kind = Kind::OneWay;
    std::int64_t number = 0; // Of the call, or of the call that is replied to.
    std::string operation;
    Value content; // The argument or the result.
};

constexpr std::uint32_t kLargestServiceMessage = std::uint32_t{64} << 20;

// Nothing when the message would be too large.
std::optional<std::string> encode(const ServiceMessage&);

// Puts messages together from bytes as they come in.
class ServiceMessageReader {
public:
    // False when the bytes can't be a message. The reader is useless from then on.
    bool append(std::string_view bytes);
    std::optional<ServiceMessage> next();
    std::size_t bytesWaiting() const { return bytesWaiting_; } // Of whole messages not yet taken.

private:
    bool takeMessages();

    struct Waiting {
        ServiceMessage message;
        std::size_t size;
    };
    std::string buffer_;
    std::deque<Waiting> messages_;
    std::size_t bytesWaiting_ = 0;
};

} // namespace platform
