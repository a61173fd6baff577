#include "diagnostics/KRCountLimiter.h"

#include <semaphore>

struct KRCountLimiter::Waiter {
    std::binary_semaphore letIn{0};
};

void KRCountLimiter::requestAccess()
{
    std::shared_ptr<Waiter> waiter;
    {
        const std::lock_guard guard(accessToView_);
        if (currentCount_ < maxCount_) {
            ++currentCount_;
            return;
        }
        waiter = std::make_shared<Waiter>();
        waitQue_.push_back(waiter);
    }
    waiter->letIn.acquire();
}

void KRCountLimiter::returnAccess()
{
    const std::lock_guard guard(accessToView_);
    --currentCount_;
    if (currentCount_ >= maxCount_ || waitQue_.empty())
        return;
    // The place is taken here, for the waiter, so that no later caller gets it before the waiter wakes.
    ++currentCount_;
    waitQue_.front()->letIn.release();
    waitQue_.pop_front();
}

void KRCountLimiter::setMaxCount(int count)
{
    const std::lock_guard guard(accessToView_);
    maxCount_ = count;
}

int KRCountLimiter::currentCount() const
{
    const std::lock_guard guard(accessToView_);
    return currentCount_;
}

int KRCountLimiter::waitingCount() const
{
    const std::lock_guard guard(accessToView_);
    return static_cast<int>(waitQue_.size());
}
