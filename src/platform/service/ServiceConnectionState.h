#pragma once

#include "platform/files/Descriptor.h"
#include "platform/service/ServiceConnection.h"
#include "platform/service/ServiceMessages.h"

#include <map>
#include <optional>
#include <string>

namespace platform {

// One end of a connection; a service holds its ends itself. Main loop only.
struct ServiceConnection::State : std::enable_shared_from_this<State> {
    explicit State(Descriptor connected);
    void begin(); // Once a shared pointer holds it.

    Failure send(const ServiceMessage&);
    Failure call(ServiceMessage, Value& reply);
    void invalidate();

    Descriptor socket; // Empty when the connection has ended.
    double timeLimit = 4.0; // Seconds.
    Handler handler;
    std::function<void()> whenPeerDies;

private:
    void onReadable();
    void readAvailable();
    void deliver();
    void deliverLater();
    void dispatch(ServiceMessage&);
    void peerHasGone();
    // Writes what the peer takes; notices when it has gone.
    void writeUnsent();
    std::size_t unsentBytes() const { return unsent_.size() - unsentStart_; }
    // Reads and writes once; false when the moment comes first.
    bool serveUntil(double end);

    std::unique_ptr<MainLoop::Watch> readWatch_;
    std::unique_ptr<MainLoop::Watch> writeWatch_; // While something is unsent.
    ServiceMessageReader reader_;
    std::string unsent_; // Whole messages, of which the first may be on its way.
    std::size_t unsentStart_ = 0; // What lies before it has been sent.
    std::int64_t lastCall_ = 0;
    std::map<std::int64_t, std::optional<Value>> awaited_; // Calls without reply, and replies not yet seen.
    bool isInvalid_ = false;
};

} // namespace platform
