#pragma once

#include "platform/loop/Pace.h"

#include <functional>
#include <memory>

namespace platform {

struct TimerState;

// The one loop on which controllers, tasks, timers and view models live. Workers reach it by posting. Work is
// done in the order of posting; timers and watches are served between two pieces of work.
//
// The loop belongs to the thread that first calls MainLoop::main(). post() and postAndWait() may be called
// from any thread, all other functions from the loop's thread alone.
//
// A handler, an action or a piece of work that throws ends the innermost run(), runUntil() or runPending()
// with that exception. Nothing is lost: the rest is served by the next call.
class MainLoop {
public:
    using Work = std::function<void()>;
    class Watch;

    // The process's loop. Unless another one is installed first, it is a PollLoop of the calling thread.
    static MainLoop& main();
    // Makes the loop the process's own, for the rest of the process. Must come before the first call of
    // main(): the process ends with a clear text otherwise.
    static void install(std::unique_ptr<MainLoop>);
    // True on the loop's thread. Unlike main(), it makes no loop when there is none yet.
    static bool runsOnThisThread();

    virtual ~MainLoop() = default;

    virtual void post(Work) = 0;
    // Does not return before the work has been done. Called on the loop's own thread it does the work at
    // once. Work that throws counts as done.
    virtual void postAndWait(Work) = 0;
    // Does the work at the end of the current event: after the handler, action or posted work that is being
    // served has returned to the outermost run(), runUntil() or runPending(), and before anything else is
    // served there. A loop that runs inside of the event never does it, so that the work may destroy what the
    // event's own functions still use. In order of calling. The same as post() while no loop runs.
    virtual void afterThisEvent(Work) = 0;

    // Serves work, timers and watches until stop() is called. A stop() that came before ends it at once.
    virtual void run() = 0;
    virtual void stop() = 0; // Any thread; may be called from a signal watch.
    // Serves the loop until the condition holds or the limit (real seconds, not paced) has passed, and tells
    // whether it holds. The condition is looked at after each piece of work and at least every 20
    // milliseconds.
    static constexpr double kForever = 1e9;
    virtual bool runUntil(const std::function<bool()>& condition, double limitInSeconds = kForever) = 0;
    // Serves everything that is ready now, without waiting; work that is posted meanwhile waits for the next
    // call.
    virtual void runPending() = 0;
    // Blocks until the condition holds. Of the posted work it does, in order, only as much as a worker inside
    // postAndWait() needs. So the owner of a thread may wait for that thread to end.
    virtual void serveWaitersUntil(const std::function<bool()>& condition) = 0;

    virtual bool isLoopThread() const = 0; // Any thread.
    // A debug build ends the process with a clear text when called on another thread.
    void assertLoopThread() const;

    // Calls the handler on the loop's thread while the descriptor is readable or hung up. Destroying the
    // watch ends it; the descriptor stays its owner's, who closes it after the watch has gone. A handler that
    // runs the loop itself isn't entered a second time. Null for a descriptor that can't be waited for, such
    // as a regular file's.
    virtual std::unique_ptr<Watch> watchReadable(int descriptor, Work handler) = 0;
    // The same while the descriptor takes bytes, or its other side has gone.
    virtual std::unique_ptr<Watch> watchWritable(int descriptor, Work handler) = 0;
    // Calls the handler on the loop's thread, as often as the signal was delivered to the process. The
    // handler may do anything. The former disposition returns when the last watch of the signal goes. Null
    // for a signal that can't be caught, and for one that is ignored when its first watch begins: a program
    // that is started in the background of a script, or to outlive its terminal, leaves the signal to others.
    virtual std::unique_ptr<Watch> watchSignal(int signalNumber, Work handler) = 0;

    // For Timer: calls the timer's action once monotonicSeconds() has reached `due`. A timer that has gone by
    // then is passed over.
    virtual void schedule(const std::shared_ptr<TimerState>&, double due) = 0;

    class Watch {
    public:
        virtual ~Watch() = default;
    };
};

// A one-shot or repeating timer of the main loop. The interval is taken through Pace when it is scheduled; a
// loop that was busy for several intervals fires once. Timers that are due together fire in the order in
// which they are due, then in the order of scheduling. Destroying the timer invalidates it; an action may
// destroy its own timer. Main thread only.
class Timer {
public:
    enum class Repeats { No, Yes };
    static std::unique_ptr<Timer> schedule(double seconds, Repeats, MainLoop::Work action);
    // A timer that belongs to no loop and so never fires.
    static std::unique_ptr<Timer> unscheduled(double seconds, MainLoop::Work action);
    ~Timer();
    void invalidate();
    bool isValid() const; // False after invalidate(), and after a one-shot timer has fired.

private:
    explicit Timer(std::shared_ptr<TimerState>);
    std::shared_ptr<TimerState> state_;
};

} // namespace platform
