#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace platform {

// A piece of work for an OperationQueue. main() runs once on a thread of the queue, unless the queue is
// destroyed first.
class Operation {
public:
    virtual ~Operation() = default;
    virtual void main() = 0;

    // Asks the operation to stop; main() checks isCancelled() where it can. An operation that is cancelled
    // before it has begun is still started, so that it can report its end to its callers. Any thread.
    void cancel() { cancelled_ = true; }
    bool isCancelled() const { return cancelled_; }

    // Called inside main(). The work is posted to the main loop after the queue has stopped counting this
    // operation, so that it finds a count without it.
    void postWhenEnded(std::function<void()> work);

private:
    friend class OperationQueue;
    std::atomic<bool> cancelled_ = false;
    std::vector<std::function<void()>> whenEnded_;
};

// Runs operations on threads of its own, in the order of adding, at most as many at a time as the limit says.
// A thread without work ends. All functions may be called from any thread. An exception that leaves main()
// ends that operation alone.
class OperationQueue {
public:
    static constexpr int Unlimited = 0;
    explicit OperationQueue(int limit = Unlimited);
    // Drops the waiting operations, cancels the running ones and waits for them. The threads end with the
    // queue.
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    void addOperation(std::shared_ptr<Operation>);
    // Cancels the running operations. The waiting ones are dropped and no longer counted.
    void cancelAllOperations();
    // Drops those that have not begun, and lets those that run go on.
    void dropWaitingOperations();
    int operationCount() const; // Waiting and running ones.
    std::vector<std::shared_ptr<Operation>> operations() const; // The same ones, in the order of adding.
    int maxConcurrentOperationCount() const;
    // A higher limit starts waiting operations at once; a lower one lets the running ones end.
    void setMaxConcurrentOperationCount(int limit);
    void waitUntilAllOperationsAreFinished(); // Never on the main thread: an operation may be waiting for it.

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace platform
