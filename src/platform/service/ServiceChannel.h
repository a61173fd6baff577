#pragma once

#include "platform/Result.h"
#include "platform/files/Descriptor.h"
#include "platform/loop/MainLoop.h"
#include "platform/service/ServiceCalls.h"
#include "platform/service/ServiceMessages.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace platform {

// One end of a connection between two programs. A ServiceConnection shares its end; a LocalService holds one
// for each program that has connected. Always held by a shared pointer. Main loop only.
class ServiceChannel : public std::enable_shared_from_this<ServiceChannel> {
public:
    using Failure = ServiceFailure;

    // Either of the two is called once, before anything else.
    void begin(Descriptor connected);
    // Tries until somebody lets it in, at most that long (seconds), and calls the function once, from the
    // main loop. What is sent meanwhile is kept.
    void beginConnecting(std::string name, double limitInSeconds, std::function<void(Status)> whenConnected);

    Failure send(const ServiceMessage&);
    Result<Value, Failure> call(ServiceMessage);
    void invalidate();
    bool isConnected() const { return static_cast<bool>(socket_); }
    bool isConnecting() const { return connecting_ != nullptr; }

    double timeLimit = 4.0; // Seconds.
    ServiceHandler handler;
    std::function<void()> whenPeerDies;

private:
    struct Connecting {
        std::string name;
        double end = 0; // Monotonic seconds.
        std::function<void(Status)> whenConnected;
        std::unique_ptr<Timer> nextTry;
    };
    void tryToConnect();
    void onReadable();
    void readAvailable();
    void deliver();
    void deliverLater();
    void dispatch(ServiceMessage&);
    void peerHasGone();
    // Writes what the peer takes; notices when it has gone.
    void writeUnsent();
    std::size_t unsentBytes() const { return unsent_.size() - unsentStart_; }
    // Waits, reads and writes once. False when that moment has passed.
    bool serveUntil(double end);

    Descriptor socket_; // Empty before the connection is there, and after it has ended.
    std::unique_ptr<Connecting> connecting_;
    std::unique_ptr<MainLoop::Watch> readWatch_;
    std::unique_ptr<MainLoop::Watch> writeWatch_; // While something is unsent.
    ServiceMessageReader reader_;
    std::string unsent_; // Whole messages, of which the first may be on its way.
    std::size_t unsentStart_ = 0; // The bytes before it have been sent.
    std::int64_t lastCall_ = 0;
    std::map<std::int64_t, std::optional<Value>> awaited_; // Calls without reply, and replies not yet seen.
    bool isInvalid_ = false;
};

} // namespace platform
