#include "apps/console/BatchDisplay.h"
#include "apps/console/ChosenTasks.h"
#include "apps/console/OpenWrapper.h"
#include "apps/console/TaskTable.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "platform/process/Process.h"
#include "task/engine/BatchCount.h"
#include "task/engine/ClearTasks.h"
#include "task/engine/RunChecks.h"
#include "task/engine/SVTrelkindEngineLocal.h"
#include "task/wrapper/ShellWord.h"
#include "task/wrapper/TaskNumbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

constexpr double kSecondsBetweenFrames = 0.5;
constexpr double kSecondsForEnding = 10;

// Handles signals: the first interrupt ends the tasks, the second kills them.
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
        watches_.push_back(loop.watchSignal(SIGTSTP, [&display] {
            display.leave();
            ::kill(::getpid(), SIGSTOP);
        }));
    }

    bool happened() const { return count_ > 0; }
    bool wantsKill() const { return count_ > 1; }

private:
    SVTrelkindEngineLocal& engine_;
    int count_ = 0;
    std::vector<std::unique_ptr<platform::MainLoop::Watch>> watches_;
};

// Runs the main loop until no operation is left and the end of each has been handled.
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

// Prints the tasks that would be started, without starting them.
int dryRun(OpenWrapper& wrapper, const std::optional<std::set<int>>& chosen)
{
    const KRTrelkindController& controller = wrapper.controller();
    if (const auto status = checkBeforeRun(controller); !status) {
        complain(status.error().text);
        return kNotDone;
    }
    int count = 0;
    for (const auto& task : controller.taskInformation()) {
        const int number = task->numberInProject();
        if (!task->taskShouldBeRun() || (chosen && !chosen->contains(number)))
            continue;
        ++count;
        if (!terminal::write(fmt::format(
                "task {}: {} {}\n", number + 1, controller.executable().value_or(""), task->argument())))
            return kNotDone;
    }
    return terminal::write(
               fmt::format("{} of {} tasks would be started.\n", count, controller.taskInformation().size()))
        ? kDone
        : kNotDone;
}

// Prints what the user should look at after a batch.
void tellOfTheEnd(OpenWrapper& wrapper, bool interrupted)
{
    const KRTrelkindController& controller = wrapper.controller();
    const std::string path = shellWord(controller.wrapperName());
    std::vector<int> failed;
    for (const auto& task : controller.taskInformation())
        if (task->hasFailed())
            failed.push_back(task->numberInProject() + 1);
    if (!failed.empty())
        complain(fmt::format("Failed: {}. \"trelkind run {} --failed\" clears and runs them again.",
            numberRanges(failed), path));
    for (const int number : lostTasks(controller))
        complain(fmt::format("Task {} is lost: it was started, but no process runs it. \"trelkind clear {} "
                             "{}\" lets it be run again.",
            number, path, number));
    const auto odd = OddOnes::of(controller);
    if (!odd.brief.empty())
        complain(fmt::format(
            "Ended in far less time than the others: {}. Look at their output.", numberRanges(odd.brief)));
    if (!odd.silent.empty())
        complain(fmt::format("Ended without any output: {}.", numberRanges(odd.silent)));
    if (interrupted)
        complain(fmt::format(
            "\"trelkind clear {0} --aborted\" and then \"trelkind run {0}\" continue the batch.", path));
}

} // namespace

int runVerb(const RunOptions& options)
{
    if (options.server)
        return serverRunVerb(options);
    if (options.on || hasBatchOnCluster(options.wrapper))
        return clusterRunVerb(options);
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    KRTrelkindController& controller = wrapper->controller();
    const auto chosen = chosenTasks(*wrapper, options);
    if (!chosen) {
        complain(chosen.error().text);
        return kWrongUse;
    }
    if (options.dryRun)
        return dryRun(*wrapper, *chosen);
    controller.startLocalTask();
    auto* attached = dynamic_cast<SVTrelkindEngineLocal*>(controller.engine());
    if (!attached) {
        complain(fmt::format("{} is bound to another machine.", controller.wrapperName()));
        return kNotDone;
    }
    // The controller releases the engine when all tasks are finished.
    const auto held = attached->shared_from_this();
    SVTrelkindEngineLocal& engine = *attached;
    if (options.concurrency)
        engine.panel().concurrency.commit(fmt::format("{}", *options.concurrency));
    if (options.failed) {
        std::vector<std::shared_ptr<SVSingleTask>> failed;
        for (const int number : **chosen)
            failed.push_back(controller.taskInformation()[static_cast<std::size_t>(number)]);
        for (const std::string& complaint : ClearTasks::clear(controller.wrapperName(), failed).complaints)
            complain(complaint);
    }

    BatchDisplay display(*wrapper,
        options.json || options.quiet ? BatchDisplay::Kind::Silent : BatchDisplay::Kind::Shown,
        [&engine] { return engine.concurrency(); });
    const Interrupts interrupts(engine, display);
    if (const auto started = engine.startAfterChecks({*chosen, options.halt}); !started) {
        complain(started.error().text);
        return kNotDone;
    }
    display.update();
    waitForEnd(engine, display, interrupts);
    // Another session may have run tasks meanwhile.
    for (const auto& task : controller.taskInformation())
        task->updateBasedOnContent();
    display.finish();
    tellOfTheEnd(*wrapper, interrupts.happened());
    const bool shown = !options.json || writeTasksAsJson(*wrapper);
    if (interrupts.happened())
        return kInterrupted;
    const auto& tasks = controller.taskInformation();
    const bool allDone = std::all_of(tasks.begin(), tasks.end(), [&chosen](const auto& task) {
        const bool isMeant = !*chosen || (*chosen)->contains(task->numberInProject());
        return !isMeant || (task->taskHasFinished() && !task->hasFailed());
    });
    return shown && allDone ? kDone : kNotDone;
}
