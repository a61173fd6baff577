#pragma once

#include "platform/files/Descriptor.h"
#include "platform/loop/MainLoop.h"
#include "platform/service/ServiceSockets.h"

#include <functional>
#include <memory>

namespace platform {

// Takes the connections that wait at a listening socket, as they come. Main loop only. Nothing is called
// any more once this object has gone; `take` may destroy it.
class ConnectionAcceptor {
public:
    ConnectionAcceptor(int listening, std::function<servicesockets::Accepted()> accept,
        std::function<void(Descriptor)> take);

private:
    void listen();
    void acceptAll();

    int listening_; // Its owner closes it after this object has gone.
    std::function<servicesockets::Accepted()> accept_;
    std::function<void(Descriptor)> take_;
    std::unique_ptr<MainLoop::Watch> watch_;
    std::unique_ptr<Timer> pause_;
    std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
};

} // namespace platform
