#include "apps/console/BatchDisplay.h"
#include "apps/console/OpenWrapper.h"
#include "apps/console/TaskTable.h"
#include "apps/console/Verbs.h"
#include "platform/process/Process.h"
#include "task/BatchCount.h"
#include "task/SVTrelkindEngineLocal.h"

#include <fmt/format.h>

#include <csignal>
#include <memory>
#include <vector>

namespace {

constexpr double kSecondsBetweenFrames = 0.5;
constexpr double kSecondsForEnding = 10;

// Counts interrupts: the first ends the tasks in order, the second kills.
class Interrupts {
public:
    Interrupts(SVTrelkindEngineLocal& engine, BatchDisplay& display) : engine_(engine)
    {
        auto& loop = platform::MainLoop::main();
        for (const int signalNumber : {SIGINT, SIGTERM})
            watches_.push_back(loop.watchSignal(signalNumber, [this, &display] {
                if (++count_ == 1) {
                    display.say("Ending the tasks; interrupt once more to kill them.");
                    engine_.panel().endButton.press();
                } else if (count_ == 2) {
                    display.say("Killing the tasks.");
                }
            }));
        watches_.push_back(loop.watchSignal(SIGHUP, [&display] { display.terminalHasGone(); }));
    }

    bool happened() const { return count_ > 0; }
    bool wantsKill() const { return count_ > 1; }

private:
    SVTrelkindEngineLocal& engine_;
    int count_ = 0;
    std::vector<std::unique_ptr<platform::MainLoop::Watch>> watches_;
};

// Serves the main loop until the engine has ended: no operation is left, and the end of each has been told.
void waitForEnd(SVTrelkindEngineLocal& engine, BatchDisplay& display, const Interrupts& interrupts)
{
    auto& loop = platform::MainLoop::main();
    const auto frames = platform::Timer::schedule(
        kSecondsBetweenFrames, platform::Timer::Repeats::Yes, [&] { display.update(); });
    loop.runUntil([&] {
        if (interrupts.wantsKill())
            platform::Process::killTerminating();
        const bool idle = !engine.isRunning();
        loop.runPending();
        return idle && engine.whichTasksAreRunning().empty();
    });
    for (bool gone = false; !gone && !interrupts.wantsKill();) {
        gone = platform::Process::finishTerminations(0.1);
        loop.runPending();
    }
    if (interrupts.wantsKill()) {
        platform::Process::killTerminating();
        platform::Process::finishTerminations(kSecondsForEnding);
    }
}

} // namespace

int runVerb(const RunOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    KRTrelkindController& controller = wrapper->controller();
    controller.startLocalTask();
    auto* attached = dynamic_cast<SVTrelkindEngineLocal*>(controller.engine());
    if (!attached) {
        complain(fmt::format("{} is bound to another machine.", controller.wrapperName()));
        return kNotDone;
    }
    // The controller lets the engine go once all tasks are finished.
    const auto held = attached->shared_from_this();
    SVTrelkindEngineLocal& engine = *attached;
    if (options.concurrency)
        engine.panel().concurrency.commit(fmt::format("{}", *options.concurrency));
    BatchDisplay display(*wrapper, options.json);
    const Interrupts interrupts(engine, display);
    if (const auto started = engine.startAfterChecks(); !started.ok()) {
        complain(started.error().text);
        return kNotDone;
    }
    display.update();
    waitForEnd(engine, display, interrupts);
    display.finish();
    const bool shown = !options.json || writeTasksAsJson(*wrapper);
    if (interrupts.happened())
        return kInterrupted;
    return shown && BatchCount::of(controller).isComplete() ? kDone : kNotDone;
}
