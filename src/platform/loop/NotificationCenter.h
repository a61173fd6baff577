#pragma once

#include "platform/plist/Value.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {

// Posted once, when the process is about to end of its own will.
inline constexpr const char* kApplicationWillTerminate = "ApplicationWillTerminate";

struct Notification {
    std::string name;
    void* object = nullptr; // Borrowed; the poster's identity, null where there is none.
    Value userInfo; // A dictionary or empty.
};

// Delivers notifications to observers by name. post() calls the handlers before it returns: those of the
// observations that exist when it begins and have not ended when their turn comes. Main thread only.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;
    class Observation; // Destroying it ends the observation.

    static NotificationCenter& defaultCenter();

    // With an object, only notifications that carry that object are delivered.
    [[nodiscard]] std::unique_ptr<Observation> observe(std::string name, Handler, void* object = nullptr);
    void post(const std::string& name, void* object = nullptr, Value userInfo = {});

    class Observation {
    public:
        ~Observation();
        Observation(const Observation&) = delete;
        Observation& operator=(const Observation&) = delete;

    private:
        friend class NotificationCenter;
        struct State;
        explicit Observation(std::shared_ptr<State>);
        std::shared_ptr<State> state_;
    };

private:
    std::vector<std::weak_ptr<Observation::State>> observers_;
};

} // namespace platform
