#pragma once

#include "platform/files/Descriptor.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/PostedWork.h"
#include "platform/loop/WatchedDescriptors.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <thread>
#include <utility>
#include <vector>

namespace platform {

// The rules of the main loop, for every way of waiting: queue, timers, watches, signals, and what is served
// when. A derived class only waits until readyDescriptor() is readable.
class CommonLoop : public MainLoop {
public:
    void post(Work) override;
    void postAndWait(Work) override;
    void afterThisEvent(Work) override;
    void run() override;
    void stop() override;
    bool runUntil(const std::function<bool()>& condition, double limitInSeconds) override;
    void runPending() override;
    void serveWaitersUntil(const std::function<bool()>& condition) override;
    bool isLoopThread() const override;
    std::unique_ptr<Watch> watchReadable(int descriptor, Work handler) override;
    std::unique_ptr<Watch> watchWritable(int descriptor, Work handler) override;
    std::unique_ptr<Watch> watchSignal(int signalNumber, Work handler) override;
    void schedule(const std::shared_ptr<TimerState>&, double due) override;

protected:
    CommonLoop();
    ~CommonLoop() override;

    // Returns when readyDescriptor() is readable, after at most that many seconds, or earlier.
    virtual void wait(double seconds) = 0;
    // How many loops of this thread are inside each other, 0 while none runs.
    virtual int level() const { return loops_; }

    // Readable while there is something to serve: a descriptor, a due timer, or what wake() was called for.
    int readyDescriptor() const { return descriptors_.ready(); }
    void wake() const; // Any thread.
    // Serves what is ready, and one piece of posted work.
    void serveTurn();
    bool hasWork() const { return !posted_.isEmpty(); }
    bool hasWorkAfterEvent() const { return !afterEvent_.empty(); }
    bool isAskedToStop() const { return stopRequested_; }
    bool takeStopRequest() { return stopRequested_.exchange(false); }

private:
    struct SignalWatch;
    class Inside;
    using TimerKey = std::pair<double, std::uint64_t>; // When it is due; the order of scheduling.

    void turn(double longestWait);
    void serveWatchesAndTimers();
    bool doOneWork(std::uint64_t last = UINT64_MAX);
    void serveEvent(const Work&);
    void doWorkAfterEvent();
    void deliverSignals();
    void fireTimers();
    void fire(const std::shared_ptr<TimerState>&, double due, double now);
    void armClock();
    std::unique_ptr<Watch> watch(int descriptor, short events, Work handler);

    const std::thread::id owner_ = std::this_thread::get_id();
    PostedWork posted_;
    std::atomic<bool> stopRequested_ = false;
    Descriptor wakeEvent_;
    Descriptor clock_; // Readable once the first timer is due.
    double clockIsSetTo_ = 0; // 0 while it is not set.
    WatchedDescriptors descriptors_;
    std::map<TimerKey, std::weak_ptr<TimerState>> timers_;
    std::uint64_t scheduledCount_ = 0;
    std::vector<std::shared_ptr<SignalWatch>> signalWatches_;
    std::deque<Work> afterEvent_;
    int eventDepth_ = 0; // Handlers, actions and pieces of work that are inside each other.
    int loops_ = 0; // Functions of this class that serve, inside each other.
};

} // namespace platform
