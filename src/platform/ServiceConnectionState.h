#pragma once

#include "platform/Descriptor.h"
#include "platform/ServiceConnection.h"
#include "platform/ServiceMessages.h"

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
    enum class Wait { Readable, WritableOrReadable };

    void onReadable();
    void readAvailable();
    void deliver();
    void deliverLater();
    void dispatch(ServiceMessage&);
    void peerHasGone();
    // Writes what it can; false when the peer has gone.
    bool write(std::string_view& bytes);
    // False when the moment comes first.
    bool waitUntil(double end, Wait);

    std::unique_ptr<MainLoop::Watch> watch_;
    ServiceMessageReader reader_;
    std::string unsent_; // The rest of a message that an unwilling peer took only a part of.
    std::int64_t lastCall_ = 0;
    std::map<std::int64_t, std::optional<Value>> awaited_; // Calls without reply, and replies not yet seen.
    bool isInvalid_ = false;
};

} // namespace platform
