#include "platform/loop/OperationQueue.h"

#include "platform/loop/MainLoop.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace platform {

namespace {
constexpr double kSecondsBeforeAskingAgain = 1.0;
}

void Operation::postWhenEnded(std::function<void()> work)
{
    whenEnded_.push_back(std::move(work));
}

struct OperationQueue::State : std::enable_shared_from_this<State> {
    using Threads = std::list<std::thread>;

    bool hasRoomInsideLock(std::size_t count) const
    {
        return limit == Unlimited || count < static_cast<std::size_t>(limit);
    }
    // After the limit was lowered there are too many threads: the thread that asks ends.
    bool hasWorkForThreadInsideLock() const
    {
        return !waiting.empty() && hasRoomInsideLock(threads.size() - 1);
    }
    void startThreadsInsideLock();
    void waitForThreadsInsideLock();
    void work(Threads::iterator self);
    std::shared_ptr<Operation> takeNext();
    void finish(std::shared_ptr<Operation>);
    Threads takeEndedThreads();
    void cancelInsideLock();

    mutable std::mutex mutex;
    std::condition_variable changed; // Operations or threads have become fewer.
    std::deque<std::shared_ptr<Operation>> waiting;
    std::vector<std::shared_ptr<Operation>> running;
    Threads threads; // Each runs an operation or is about to take one; idle threads end.
    Threads endedThreads; // Finished; only to be joined.
    int limit = Unlimited;
    bool asksAgain = false; // A timer is set that tries again to start threads.
};

namespace {

// The queue that this thread works for: a queue that is destroyed by one of its own operations must not wait
// for that operation.
thread_local const void* queueOfThisThread = nullptr;

void runGuarded(Operation& operation)
{
    try {
        operation.main();
    } catch (...) { // NOLINT(bugprone-empty-catch): only the operation knows who is interested.
    }
}

} // namespace

void OperationQueue::State::startThreadsInsideLock()
{
    while (threads.size() < running.size() + waiting.size() && hasRoomInsideLock(threads.size())) {
        threads.emplace_front();
        try {
            threads.front() = std::thread([self = shared_from_this(), place = threads.begin()] {
                queueOfThisThread = self.get();
                self->work(place);
            });
        } catch (const std::system_error&) {
            threads.pop_front();
            waitForThreadsInsideLock();
            return;
        }
    }
}

// The machine gives no more threads. Running threads take the waiting operations; when there is no thread at
// all, a timer tries again.
void OperationQueue::State::waitForThreadsInsideLock()
{
    if (!threads.empty() || asksAgain)
        return;
    asksAgain = true;
    MainLoop::main().post([weak = weak_from_this()] {
        // The action owns its timer: the queue may be destroyed on any thread, a timer only on this one.
        const auto timer = std::make_shared<std::unique_ptr<Timer>>();
        *timer = Timer::schedule(kSecondsBeforeAskingAgain, Timer::Repeats::No, [weak, timer] {
            const auto ended = std::move(*timer);
            if (const auto self = weak.lock()) {
                const std::lock_guard lock(self->mutex);
                self->asksAgain = false;
                self->startThreadsInsideLock();
            }
        });
    });
}

std::shared_ptr<Operation> OperationQueue::State::takeNext()
{
    const std::lock_guard lock(mutex);
    if (!hasWorkForThreadInsideLock())
        return nullptr;
    running.push_back(std::move(waiting.front()));
    waiting.pop_front();
    return running.back();
}

void OperationQueue::State::finish(std::shared_ptr<Operation> operation)
{
    const auto whenEnded = std::exchange(operation->whenEnded_, {});
    {
        const std::lock_guard lock(mutex);
        std::erase(running, operation);
        changed.notify_all();
    }
    operation.reset();
    for (const auto& work : whenEnded)
        MainLoop::main().post(work);
}

void OperationQueue::State::work(Threads::iterator self)
{
    for (;;) {
        while (auto operation = takeNext()) {
            runGuarded(*operation);
            finish(std::move(operation));
        }
        const std::lock_guard lock(mutex);
        // Checked again under the lock under which this thread ends: an operation that was added since
        // takeNext() counted on this thread and started no other.
        if (hasWorkForThreadInsideLock())
            continue;
        endedThreads.splice(endedThreads.end(), threads, self);
        changed.notify_all();
        return;
    }
}

OperationQueue::State::Threads OperationQueue::State::takeEndedThreads()
{
    const std::lock_guard lock(mutex);
    return std::exchange(endedThreads, {});
}

void OperationQueue::State::cancelInsideLock()
{
    for (const auto& operation : waiting)
        operation->cancel();
    for (const auto& operation : running)
        operation->cancel();
}

OperationQueue::OperationQueue(int limit) : state_(std::make_shared<State>())
{
    state_->limit = std::max(limit, Unlimited);
}

OperationQueue::~OperationQueue()
{
    const bool onOwnThread = queueOfThisThread == state_.get();
    std::deque<std::shared_ptr<Operation>> dropped;
    {
        const std::lock_guard lock(state_->mutex);
        state_->cancelInsideLock();
        dropped.swap(state_->waiting);
    }
    dropped.clear();

    const std::size_t remaining = onOwnThread ? 1 : 0;
    if (MainLoop::runsOnThisThread()) {
        // An operation may be waiting for the main thread, which is this one.
        MainLoop::main().serveWaitersUntil([&] {
            const std::lock_guard lock(state_->mutex);
            return state_->threads.size() <= remaining;
        });
    } else {
        std::unique_lock lock(state_->mutex);
        state_->changed.wait(lock, [&] { return state_->threads.size() <= remaining; });
    }
    if (onOwnThread) {
        const std::lock_guard lock(state_->mutex);
        state_->threads.front().detach();
    }
    for (std::thread& thread : state_->takeEndedThreads())
        thread.join();
}

void OperationQueue::addOperation(std::shared_ptr<Operation> operation)
{
    if (!operation)
        return;
    {
        const std::lock_guard lock(state_->mutex);
        state_->waiting.push_back(std::move(operation));
        state_->startThreadsInsideLock();
    }
    for (std::thread& thread : state_->takeEndedThreads())
        thread.join();
}

void OperationQueue::cancelAllOperations()
{
    std::deque<std::shared_ptr<Operation>> dropped; // Destroyed after the lock is released.
    const std::lock_guard lock(state_->mutex);
    state_->cancelInsideLock();
    dropped.swap(state_->waiting);
    state_->changed.notify_all();
}

void OperationQueue::dropWaitingOperations()
{
    std::deque<std::shared_ptr<Operation>> dropped; // Goes after the lock.
    const std::lock_guard lock(state_->mutex);
    dropped.swap(state_->waiting);
    state_->changed.notify_all();
}

int OperationQueue::operationCount() const
{
    const std::lock_guard lock(state_->mutex);
    return static_cast<int>(state_->waiting.size() + state_->running.size());
}

std::vector<std::shared_ptr<Operation>> OperationQueue::operations() const
{
    const std::lock_guard lock(state_->mutex);
    auto operations = state_->running;
    operations.insert(operations.end(), state_->waiting.begin(), state_->waiting.end());
    return operations;
}

int OperationQueue::maxConcurrentOperationCount() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->limit;
}

void OperationQueue::setMaxConcurrentOperationCount(int limit)
{
    const std::lock_guard lock(state_->mutex);
    state_->limit = std::max(limit, Unlimited);
    state_->startThreadsInsideLock();
}

void OperationQueue::waitUntilAllOperationsAreFinished()
{
    std::unique_lock lock(state_->mutex);
    state_->changed.wait(lock, [&] { return state_->waiting.empty() && state_->running.empty(); });
}

} // namespace platform
