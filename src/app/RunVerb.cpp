#include "app/BatchProgress.h"
#include "app/ExecutableCheck.h"
#include "app/LiveDisplay.h"
#include "app/OpenWrapper.h"
#include "app/TaskTable.h"
#include "app/TerminalText.h"
#include "app/Verbs.h"
#include "platform/FileManager.h"
#include "platform/Process.h"
#include "task/SVTrelkindEngineLocal.h"

#include <fmt/format.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr double kSecondsBetweenFrames = 0.5;
constexpr double kSecondsForEnding = 10;

// Shows a batch while it runs: a live table on a terminal, otherwise a line for each change of a task's
// state; nothing while the output is to be JSON.
class BatchDisplay {
public:
    BatchDisplay(OpenWrapper& wrapper, bool json)
        : wrapper_(wrapper), progress_(wrapper.controller()), live_(terminal::Output::standard()),
          silent_(json)
    {
        for (const auto& task : wrapper.controller().taskInformation())
            words_.push_back(statusWord(*task).first);
        wrapper.messages().beforeWriting = [this] { live_.clear(); };
    }
    ~BatchDisplay() { wrapper_.messages().beforeWriting = nullptr; }
    BatchDisplay(const BatchDisplay&) = delete;
    BatchDisplay& operator=(const BatchDisplay&) = delete;

    void update()
    {
        if (silent_)
            return;
        if (terminal::Output::standard().isTerminal) {
            const auto lines = progress_.lines(terminal::Output::standard().size(), seconds());
            live_.show(lines.texts, lines.columns);
        } else {
            writeChanges();
        }
    }

    void say(const std::string& sentence)
    {
        if (silent_)
            return;
        live_.clear();
        if (!terminal::write(sentence + "\n"))
            silent_ = true;
    }

    // The terminal has gone: the batch goes on without being watched.
    void fallSilent() { silent_ = true; }

    void finish()
    {
        update();
        live_.finish();
        if (!terminal::Output::standard().isTerminal)
            say(fmt::format("{}, {} elapsed", progress_.sentence(), terminal::elapsed(seconds())));
    }

private:
    double seconds() const { return platform::monotonicSeconds() - start_; }

    void writeChanges()
    {
        const auto& tasks = wrapper_.controller().taskInformation();
        for (std::size_t i = 0; i < tasks.size(); ++i) {
            std::string word = statusWord(*tasks[i]).first;
            if (word == words_[i])
                continue;
            words_[i] = std::move(word);
            say(fmt::format("{:>8}  task {}: {}", terminal::elapsed(seconds()), i + 1, words_[i]));
        }
    }

    OpenWrapper& wrapper_;
    BatchProgress progress_;
    LiveDisplay live_;
    std::vector<std::string> words_;
    double start_ = platform::monotonicSeconds();
    bool silent_;
};

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
                    engine_.endTasks();
                } else if (count_ == 2) {
                    display.say("Killing the tasks.");
                }
            }));
        watches_.push_back(loop.watchSignal(SIGHUP, [&display] { display.fallSilent(); }));
    }

    bool happened() const { return count_ > 0; }
    bool wantsKill() const { return count_ > 1; }

private:
    SVTrelkindEngineLocal& engine_;
    int count_ = 0;
    std::vector<std::unique_ptr<platform::MainLoop::Watch>> watches_;
};

std::optional<std::string> whyNotRunnable(const KRTrelkindController& controller)
{
    const std::string& wrapper = controller.wrapperName();
    if (controller.taskInformation().empty())
        return fmt::format("{} has no tasks.", wrapper);
    if (!controller.executable())
        return fmt::format("{} names no executable in its Executable.plist.", wrapper);
    if (auto reason = whyNotExecutable(fmt::format("{}/MacOSX/{}", wrapper, *controller.executable())))
        return reason;
    for (const auto& task : controller.taskInformation())
        if (task->taskShouldBeRun() && platform::files::isDirectory(task->folderName()))
            return whyNotWritable(task->folderName());
    return std::nullopt;
}

// Such a task can't be run; the others can.
void tellOfMissingFolders(const KRTrelkindController& controller)
{
    for (const auto& task : controller.taskInformation())
        if (task->taskShouldBeRun() && !platform::files::isDirectory(task->folderName()))
            complain(fmt::format("The run folder {} {}.", task->folderName(),
                platform::files::exists(task->folderName()) ? "is not a folder" : "does not exist"));
}

// Holds a wrapper for one process that runs it: two would start the same tasks. The system lets go of it when
// the process ends, however it ends.
class RunLock {
public:
    explicit RunLock(const std::string& wrapper)
        : descriptor_(::open(wrapper.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        // A file system without locks doesn't keep anybody from running.
        isTaken_ = ::flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    }
    ~RunLock()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    RunLock(const RunLock&) = delete;
    RunLock& operator=(const RunLock&) = delete;

    bool isTaken() const { return isTaken_; }

private:
    int descriptor_;
    bool isTaken_ = false;
};

void tellWhatStands(const KRTrelkindController& controller)
{
    std::vector<int> stale;
    for (const auto& task : controller.taskInformation())
        if (task->taskHasStarted() && !task->taskHasFinished() && !task->taskWasAborted())
            stale.push_back(task->numberInProject() + 1);
    if (!stale.empty())
        complain(fmt::format(
            "Tasks that an earlier session started and that may have died with it: {}. If they no "
            "longer run, \"trelkind clear\" with their numbers lets them be run again.",
            fmt::join(stale, ", ")));
}

// Serves the main loop until the engine has ended: no operation is left, and the end of each has been told.
void waitForEnd(SVTrelkindEngineLocal& engine, BatchDisplay& display, const Interrupts& interrupts)
{
    auto& loop = platform::MainLoop::main();
    const auto frames = platform::Timer::schedule(kSecondsBetweenFrames, platform::Timer::Repeats::Yes, [&] {
        engine.updateStatus();
        display.update();
    });
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
    const RunLock lock(controller.wrapperName());
    if (lock.isTaken()) {
        complain(fmt::format("{} is being run by another trelkind.", controller.wrapperName()));
        return kNotDone;
    }
    if (const auto reason = whyNotRunnable(controller)) {
        complain(*reason);
        return kNotDone;
    }
    controller.startLocalTask();
    auto* attached = dynamic_cast<SVTrelkindEngineLocal*>(controller.engine());
    if (!attached) {
        complain(fmt::format("{} is bound to another machine.", controller.wrapperName()));
        return kNotDone;
    }
    // The controller lets the engine go once all tasks are finished.
    const auto held = attached->shared_from_this();
    SVTrelkindEngineLocal& engine = *attached;
    if (options.concurrency) {
        engine.panel().concurrency.stringValue = fmt::format("{}", *options.concurrency);
        engine.changeConcurrency(engine.panel().concurrency);
    }
    tellWhatStands(controller);
    tellOfMissingFolders(controller);

    BatchDisplay display(*wrapper, options.json);
    const Interrupts interrupts(engine, display);
    engine.startTasks();
    display.update();
    waitForEnd(engine, display, interrupts);
    display.finish();
    const bool shown = !options.json || writeTasksAsJson(*wrapper);
    if (interrupts.happened())
        return kInterrupted;
    const auto counts = BatchProgress(controller).count();
    return shown && counts.done == static_cast<int>(controller.taskInformation().size()) ? kDone : kNotDone;
}
