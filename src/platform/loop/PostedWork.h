#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace platform {

// The work that was posted to a loop and is not done yet, in the order of posting. Any thread posts; the
// loop's thread takes.
class PostedWork {
public:
    using Work = std::function<void()>;

    // Both return true when the queue was empty before: the loop may be waiting and has to be woken.
    bool post(Work);
    // Calls `wake` in that case itself, then waits until the work has been done.
    void postAndWait(Work, const std::function<void()>& wake);

    bool isEmpty() const;
    bool hasWaiters() const; // A worker waits for one of the pieces.
    std::uint64_t lastNumber() const; // Of the pieces posted so far; they are numbered from 1.
    // Hands the first piece to `serve`, if its number is not beyond `last`, and tells whether there was one.
    // The worker that waits for the piece is released afterwards, also when `serve` throws.
    bool serveFirst(const std::function<void(const Work&)>& serve, std::uint64_t last = UINT64_MAX);

private:
    // A worker inside postAndWait().
    struct Waiter {
        std::mutex mutex;
        std::condition_variable changed;
        bool done = false;
        void release();
    };
    struct Piece {
        std::uint64_t number = 0;
        Work work;
        std::shared_ptr<Waiter> waiter; // Null for work that nobody waits for.
    };
    bool add(Work, std::shared_ptr<Waiter>);

    mutable std::mutex mutex_;
    std::deque<Piece> pieces_;
    std::uint64_t count_ = 0;
    int waiters_ = 0;
};

} // namespace platform
