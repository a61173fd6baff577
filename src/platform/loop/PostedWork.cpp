#include "platform/loop/PostedWork.h"

#include "platform/loop/Callback.h"

namespace platform {

void PostedWork::Waiter::release()
{
    const std::lock_guard lock(mutex);
    done = true;
    changed.notify_one(); // Inside the lock: the waiter is gone as soon as it sees the flag.
}

bool PostedWork::add(Work work, std::shared_ptr<Waiter> waiter)
{
    const std::lock_guard lock(mutex_);
    const bool wasEmpty = pieces_.empty();
    waiters_ += waiter ? 1 : 0;
    pieces_.push_back({++count_, std::move(work), std::move(waiter)});
    return wasEmpty;
}

bool PostedWork::post(Work work)
{
    return add(std::move(work), nullptr);
}

void PostedWork::postAndWait(Work work, const std::function<void()>& wake)
{
    const auto waiter = std::make_shared<Waiter>();
    if (add(std::move(work), waiter))
        wake();
    std::unique_lock lock(waiter->mutex);
    waiter->changed.wait(lock, [&] { return waiter->done; });
}

bool PostedWork::isEmpty() const
{
    const std::lock_guard lock(mutex_);
    return pieces_.empty();
}

bool PostedWork::hasWaiters() const
{
    const std::lock_guard lock(mutex_);
    return waiters_ > 0;
}

std::uint64_t PostedWork::lastNumber() const
{
    const std::lock_guard lock(mutex_);
    return count_;
}

bool PostedWork::serveFirst(const std::function<void(const Work&)>& serve, std::uint64_t last)
{
    Piece first;
    {
        const std::lock_guard lock(mutex_);
        if (pieces_.empty() || pieces_.front().number > last)
            return false;
        first = std::move(pieces_.front());
        pieces_.pop_front();
        waiters_ -= first.waiter ? 1 : 0;
    }
    const AtEndOfScope done([&first] {
        first.work = nullptr; // It may refer to the stack of the worker that is released next.
        if (first.waiter)
            first.waiter->release();
    });
    if (first.work)
        serve(first.work);
    return true;
}

} // namespace platform
