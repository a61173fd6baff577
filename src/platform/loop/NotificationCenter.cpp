#include "platform/loop/NotificationCenter.h"

#include <algorithm>

namespace platform {

struct NotificationCenter::Observation::State {
    std::string name;
    Handler handler;
    void* object = nullptr;
    bool ended = false; // An observation may end while its handler is being called.
};

NotificationCenter::Observation::Observation(std::shared_ptr<State> state) : state_(std::move(state)) { }

NotificationCenter::Observation::~Observation()
{
    state_->ended = true;
}

NotificationCenter& NotificationCenter::defaultCenter()
{
    static auto* center = new NotificationCenter; // Outlives every observer.
    return *center;
}

std::unique_ptr<NotificationCenter::Observation> NotificationCenter::observe(
    std::string name, Handler handler, void* object)
{
    std::erase_if(observers_, [](const auto& observer) { return observer.expired(); });
    auto state = std::make_shared<Observation::State>();
    state->name = std::move(name);
    state->handler = std::move(handler);
    state->object = object;
    observers_.push_back(state);
    return std::unique_ptr<Observation>(new Observation(std::move(state)));
}

void NotificationCenter::post(const std::string& name, void* object, Value userInfo)
{
    const Notification notification{name, object, std::move(userInfo)};
    const auto present = observers_; // Handlers may come and go while the others are told.
    for (const auto& candidate : present) {
        const auto observer = candidate.lock();
        if (!observer || observer->ended || observer->name != name)
            continue;
        if (observer->object && observer->object != object)
            continue;
        if (observer->handler)
            observer->handler(notification);
    }
}

} // namespace platform
