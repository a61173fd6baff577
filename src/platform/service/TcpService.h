#pragma once

#include "platform/Result.h"
#include "platform/service/ServiceConnection.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

// Listens at a TCP port as long as it lives, and hands out each connection whose other side has proved that
// it knows the secret. Only the beginning is protected: the messages travel in the clear. Main loop only.
class TcpService {
public:
    using Take = std::function<void(std::unique_ptr<ServiceConnection>)>;
    // A numeric address of this machine; port 0 takes a free one. Without a secret everybody is let in. A
    // side that doesn't prove within 4 seconds, or comes while 16 others are at it, is turned away.
    static Result<std::unique_ptr<TcpService>> offer(
        const std::string& address, int port, std::optional<std::string> secret, Take take);
    ~TcpService();
    int port() const;

private:
    struct State;
    explicit TcpService(std::shared_ptr<State>);
    std::shared_ptr<State> state_;
};

} // namespace platform
