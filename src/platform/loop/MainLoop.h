#pragma once

#include "platform/loop/Pace.h"

#include <functional>
#include <memory>

namespace platform {

// The one loop on which controllers, tasks, timers and view models live. Workers reach it by posting. Work is
// done in the order of posting; timers and watches are served between two pieces of work.
//
// The loop belongs to the thread that first calls MainLoop::main(). post() and postAndWait() may be called
// from any thread, all else from the loop's thread alone.
class MainLoop {
public:
    using Work = std::function<void()>;

    static MainLoop& main();

    // What throws ends the function of the loop that served it, with that exception; nobody waits for it in
    // vain, and what else was to be done then is done next time.
    void post(Work);
    // Does not return before the work has been done. Called on the loop's own thread it does the work at
    // once.
    void postAndWait(Work);

    // Serves work, timers and watches until stop() is called. A stop() that came before ends it at once.
    void run();
    void stop(); // Any thread; may be called from a signal watch.
    // Serves the loop until the condition holds or the limit (real seconds, not paced) has passed, and tells
    // whether it holds. The condition is looked at after each piece of work and at least every 20
    // milliseconds.
    static constexpr double kForever = 1e9;
    bool runUntil(const std::function<bool()>& condition, double limitInSeconds = kForever);
    // Serves everything that is ready now, without waiting; what that posts in its turn waits for the next
    // time.
    void runPending();
    // Waits for the condition like one who can't go on without it: posted work is done, in its order, only as
    // far as a worker inside postAndWait() needs it. So a thread's owner may wait for it to end.
    void serveWaitersUntil(const std::function<bool()>& condition);

    bool isLoopThread() const;
    static bool runsOnThisThread(); // The same, without making this thread the loop's when there is none yet.
    // A debug build ends the process with a clear text when called on another thread.
    void assertLoopThread() const;

    // Calls the handler on the loop's thread while the descriptor is readable (or hung up). Destroying the
    // watch ends it; the descriptor stays its owner's. A handler that runs the loop itself isn't entered a
    // second time.
    class Watch;
    std::unique_ptr<Watch> watchReadable(int descriptor, Work handler);
    // The same while it takes bytes (or its other side has gone).
    std::unique_ptr<Watch> watchWritable(int descriptor, Work handler);
    // Calls the handler on the loop's thread after the process was sent the signal (through a descriptor, so
    // that the handler may do anything), as often as it was delivered. The former disposition returns when
    // the last watch of the signal goes. Null for a signal that can't be caught, and for one that is ignored
    // when its first watch begins: whoever started this program in the background of a script, or to outlive
    // its terminal, means the signal for others.
    std::unique_ptr<Watch> watchSignal(int signalNumber, Work handler);

    class Watch {
    public:
        virtual ~Watch() = default;
    };

    struct State; // Public for the implementation's own classes.
    State& state() { return *state_; }

private:
    std::unique_ptr<Watch> watch(int descriptor, short events, Work handler);
    MainLoop();
    ~MainLoop();
    std::unique_ptr<State> state_;
};

// A one-shot or repeating timer of the main loop. The interval is taken through Pace when it is scheduled; a
// loop that was busy for several of them fires once. Destroying the timer invalidates it; an action may
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

    struct State; // Public for the implementation's own classes.

private:
    explicit Timer(std::shared_ptr<State>);
    std::shared_ptr<State> state_;
};

} // namespace platform
