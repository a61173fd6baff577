#pragma once

#include <deque>
#include <memory>
#include <mutex>

// A gate for slow outside activities: at most six proceed at once, the others wait and proceed in order of
// arrival. Any thread but the main one, which must never wait.
class KRCountLimiter {
public:
    // Returns when there is room. Every call is followed by one of returnAccess().
    void requestAccess();
    void returnAccess();
    // A higher limit lets waiters in with the next returnAccess().
    void setMaxCount(int count);

    int currentCount() const;
    int waitingCount() const;

private:
    struct Waiter;

    mutable std::mutex accessToView_;
    int currentCount_ = 0;
    int maxCount_ = 6;
    std::deque<std::shared_ptr<Waiter>> waitQue_;
};
