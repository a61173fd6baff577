#pragma once

#include "platform/Result.h"
#include "platform/service/ServiceCalls.h"

#include <functional>
#include <memory>
#include <string>

namespace platform {

// Offers operations under a name as long as it lives. One handler serves all connections; for a call that
// wants a reply its value is the reply.
class LocalService {
public:
    // Fails when a living process has the name. A name left by a dead process is taken over.
    static Result<std::unique_ptr<LocalService>> offer(const std::string& name, ServiceHandler handler);
    ~LocalService();
    // Called with the number of connections whenever one comes or goes.
    void whenConnectionsChange(std::function<void(int)> handler);

private:
    struct State;
    explicit LocalService(std::shared_ptr<State>);
    std::shared_ptr<State> state_;
};

} // namespace platform
