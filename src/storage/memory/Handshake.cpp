#include "storage/memory/Handshake.h"

#include "diagnostics/KRMessageCenter.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>

namespace storage {

namespace {

constexpr std::int32_t kLongestGreeting = 1000; // Bytes.

} // namespace

MagicCookie MagicCookie::parse(const std::string& cookie)
{
    const auto colon = cookie.find(':');
    if (colon == std::string::npos || colon == 0)
        return {"", cookie};
    return {cookie.substr(0, colon), cookie.substr(colon + 1)};
}

bool shakeHands(ByteChannel& channel, const MagicCookie& cookie)
{
    std::int32_t length = 0;
    if (channel.receive(&length, sizeof length) != sizeof length || length > kLongestGreeting)
        return false;
    if (length <= 0 && !cookie.greeting.empty())
        return false;
    if (length > 0) {
        std::string greeting(static_cast<std::size_t>(length), '\0');
        if (channel.receive(greeting.data(), greeting.size()) != greeting.size())
            return false;
        if (greeting != cookie.greeting) {
            KRMessageCenter::addMessage("Invalid response from remote task.",
                fmt::format(
                    "Remote task needs to return \"{}\" before being sent a password.", cookie.greeting));
            return false;
        }
    }
    const auto size = static_cast<std::int32_t>(cookie.password.size());
    if (!channel.send(&size, sizeof size) || !channel.send(cookie.password.data(), cookie.password.size()))
        return false;
    std::array<char, 4> reply{};
    if (channel.receive(reply.data(), reply.size()) == reply.size())
        return true;
    KRMessageCenter::addMessage("Password rejected.");
    return false;
}

} // namespace storage
