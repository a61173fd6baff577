#pragma once

#include "platform/service/ServiceConnection.h"

#include <functional>
#include <memory>
#include <string>

namespace platform {

// Offers operations under a name as long as it lives. One handler serves all connections; for a call that
// wants a reply its value is the reply.
class LocalService {
public:
    // Null when the name is taken by a living process or can't be had. A name left by a dead process is taken
    // over.
    static std::unique_ptr<LocalService> offer(const std::string& name, ServiceConnection::Handler handler);
    ~LocalService();
    // Called with the number of connections whenever one comes or goes.
    void whenConnectionsChange(std::function<void(int)> handler);

private:
    struct State;
    explicit LocalService(std::shared_ptr<State>);
    std::shared_ptr<State> state_;
};

} // namespace platform
