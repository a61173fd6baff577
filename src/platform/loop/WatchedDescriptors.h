#pragma once

#include "platform/files/Descriptor.h"
#include "platform/loop/Callback.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace platform {

// The descriptors that a loop waits for, gathered in one descriptor. The loop's thread only.
class WatchedDescriptors {
public:
    struct Watch {
        int descriptor = -1;
        short events = 0; // Of poll().
        Callback handler;
    };

    // Ends the process with a clear text when the system has no descriptor left: no loop works without.
    WatchedDescriptors();

    // Readable while one of the watched descriptors is ready, or one of those that were joined.
    int ready() const { return ready_.get(); }
    // Lets the descriptor make ready() readable, without a handler, for as long as this object lives.
    void join(int descriptor);

    // Null when the descriptor can't be waited for.
    std::shared_ptr<Watch> add(int descriptor, short events, std::function<void()> handler);
    void remove(const std::shared_ptr<Watch>&);
    // Passes the handler of each watch whose descriptor is ready to `call`. Readiness is asked directly
    // before each call: the handlers before it may have emptied the descriptor or closed it.
    void serve(const std::function<void(Callback&)>& call);

private:
    struct Entry {
        std::vector<std::shared_ptr<Watch>> watches;
        short registered = 0; // The events that the system looks for now.
    };
    std::vector<std::shared_ptr<Watch>> candidates();
    bool registerEvents(int descriptor, Entry&, short events);
    void refresh(int descriptor);
    void renew();

    Descriptor ready_;
    std::vector<int> joined_;
    std::map<int, Entry> entries_; // By descriptor.
};

} // namespace platform
