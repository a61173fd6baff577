#include "apps/console/server/ServedRun.h"

#include "apps/console/TaskTable.h"
#include "apps/console/cluster/KeyPresses.h"
#include "platform/process/Process.h"
#include "task/wrapper/ShellWord.h"
#include "task/wrapper/TaskNumbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <limits>
#include <unistd.h>

namespace {

constexpr double kSecondsBetweenFrames = 0.5;
constexpr double kSecondsForEnding = 10;
// More would only wait for the one scp that an engine runs, and keep worker threads from others.
constexpr int kMostOnTheWay = 4;
constexpr std::size_t kMostAtServer = 256;
constexpr int kLinesForFrame = 200; // Each is a message to the server.

} // namespace

ServedRun::ServedRun(OpenWrapper& wrapper, const RunOptions& options, MachineName machine, Tasks tasks)
    : wrapper_(wrapper), options_(options), machine_(std::move(machine)), tasks_(std::move(tasks)),
      definition_(SVMachineDefinitionController::readFromFile()),
      display_(
          wrapper, options.json || options.quiet ? BatchDisplay::Kind::Silent : BatchDisplay::Kind::Shown,
          [this] { return std::max(1, countOf(TransferState::OnServer)); }, [this] { return linesAbove(); })
{
    definition_->setName(machine_.host);
    definition_->setUser(machine_.user);
    definition_->setAllowsServerWithoutSecret(options.allowServerWithoutSecret);
    if (options_.watch)
        wrapper_.views().taskList.selectRows({*options_.watch - 1});
    watchSignals();
}

ServedRun::~ServedRun()
{
    if (engine())
        definition_->removeControllerNumber(wrapper_.controller().serialNumber());
    std::weak_ptr<SVEngineController> ending;
    if (SVRemoteEngineController* left = engine())
        ending = left->weak_from_this();
    definition_->disconnect();
    definition_.reset();
    // A copy that is under way ends first: nobody would end it after this program.
    platform::MainLoop::main().runUntil([&] { return ending.expired(); }, kSecondsForEnding);
    platform::Process::finishTerminations(kSecondsForEnding);
}

SVRemoteEngineController* ServedRun::engine() const
{
    return dynamic_cast<SVRemoteEngineController*>(definition_->engineController());
}

void ServedRun::watchSignals()
{
    auto& loop = platform::MainLoop::main();
    for (const int signalNumber : {SIGINT, SIGTERM})
        watches_.push_back(loop.watchSignal(signalNumber, [this] { interrupted(); }));
    watches_.push_back(loop.watchSignal(SIGHUP, [this] { display_.terminalHasGone(); }));
    watches_.push_back(loop.watchSignal(SIGTSTP, [this] {
        display_.leave();
        ::kill(::getpid(), SIGSTOP);
    }));
}

void ServedRun::interrupted()
{
    if (++interrupts_ > 1)
        return;
    display_.say("Ending the tasks; interrupt once more to leave at once.");
    const Tasks tasks = atServer_;
    for (const auto& task : tasks)
        if (engine() && engine()->transferStateOf(*task) != TransferState::None)
            task->abortRun();
}

void ServedRun::connect()
{
    atServer_.clear();
    next_ = 0;
    hasToldOfKey_ = false;
    for (const auto& task : tasks_)
        task->setShouldBeRun(true);
    definition_->connect();
}

void ServedRun::pressed(char key)
{
    if (key == 'r' && definition_->connectionStatus() == SVMachineDefinitionController::NoConnection)
        connect();
}

int ServedRun::run()
{
    const KeyPresses keys([this](char key) { pressed(key); });
    waitsForKeys_ = keys.areRead() && !options_.json && !options_.quiet;
    const auto frames =
        platform::Timer::schedule(kSecondsBetweenFrames, platform::Timer::Repeats::Yes, [this] {
            showNewOutput(kLinesForFrame);
            display_.update();
        });
    if (!tasks_.empty()) {
        connect();
        display_.update();
        platform::MainLoop::main().runUntil([this] { return isOver(); });
    }
    for (const auto& task : tasks_)
        task->updateBasedOnContent();
    showNewOutput(std::numeric_limits<int>::max());
    display_.update();
    display_.finish();
    return outcome();
}

bool ServedRun::isOver()
{
    if (interrupts_ > 1)
        return true;
    switch (definition_->connectionStatus()) {
    case SVMachineDefinitionController::Connected:
        handOut();
        return engine() && atServer_.empty() && (next_ == tasks_.size() || interrupts_ > 0);
    case SVMachineDefinitionController::Connecting:
        return interrupts_ > 0;
    default:
        if (!waitsForKeys_ || interrupts_ > 0)
            return true;
        if (!std::exchange(hasToldOfKey_, true)) {
            wrapper_.messages().writeNewMessages(); // Why the connection ended.
            display_.say(
                fmt::format("There is no connection to {}. Press r to connect again.", machine_.text()));
        }
        return false;
    }
}

int ServedRun::countOf(TransferState state) const
{
    const SVRemoteEngineController* server = engine();
    return server ? static_cast<int>(std::count_if(atServer_.begin(), atServer_.end(),
               [&](const auto& task) { return server->transferStateOf(*task) == state; }))
                  : 0;
}

void ServedRun::handOut()
{
    // Handing out a task may end the connection.
    while (const SVRemoteEngineController* server = engine()) {
        std::erase_if(atServer_,
            [server](const auto& task) { return server->transferStateOf(*task) == TransferState::None; });
        // The first task takes the program along, and would leave the others waiting for it if the copy
        // failed.
        if (next_ == tasks_.size() || interrupts_ > 0 || atServer_.size() >= kMostAtServer
            || countOf(TransferState::NotYet) > 0 || countOf(TransferState::UnderWay) >= kMostOnTheWay)
            return;
        const auto& task = tasks_[next_++];
        if (task->taskHasFinished())
            continue;
        atServer_.push_back(task);
        engine()->addTask(task);
    }
}

std::vector<std::string> ServedRun::linesAbove() const
{
    constexpr const char* kWords[] = {"no connection", "connecting", "connected"};
    std::string server =
        fmt::format("{:<8}{}, {}", "Server", machine_.text(), kWords[definition_->connectionStatus()]);
    if (!terminal::Output::standard().isTerminal || !engine() || !engine()->isConnected())
        return {server};
    return {fmt::format("{}, load {:.2f}", server, engine()->loadLevel()),
        fmt::format("{:<8}{} on the way, {} there", "Tasks",
            countOf(TransferState::NotYet) + countOf(TransferState::UnderWay),
            countOf(TransferState::OnServer))};
}

// The table shows the server's lines while the task runs there, and then the file that came back.
void ServedRun::showNewOutput(int mostLines)
{
    if (!options_.watch)
        return;
    const toolkit::Table& output = wrapper_.views().outputFromProgram;
    const int end = output.numberOfRows();
    std::string lines;
    for (int count = 0; linesShown_ < end && count < mostLines; ++count, ++linesShown_) {
        // The last line may still grow.
        const bool mayGrow = linesShown_ + 1 == end && mostLines == kLinesForFrame;
        if (mayGrow)
            break;
        lines +=
            fmt::format("{} | {}\n", *options_.watch, toolkit::cellText(output.value("Output", linesShown_)));
    }
    if (!lines.empty())
        display_.show(lines);
}

int ServedRun::outcome()
{
    platform::MainLoop::main().runPending();
    wrapper_.messages().writeNewMessages();
    const bool shown = !options_.json || writeTasksAsJson(wrapper_);
    std::vector<int> failed;
    std::vector<int> left;
    for (const auto& task : tasks_) {
        if (!task->taskHasFinished())
            left.push_back(task->numberInProject() + 1);
        else if (task->hasFailed())
            failed.push_back(task->numberInProject() + 1);
    }
    if (!failed.empty())
        complain(fmt::format("Failed: {}.", numberRanges(failed)));
    if (!left.empty())
        complain(fmt::format("Not done: {}. \"trelkind run {} --server {}\" runs what is left.",
            numberRanges(left), shellWord(wrapper_.controller().wrapperName()), machine_.text()));
    if (interrupts_ > 0)
        return kInterrupted;
    return shown && failed.empty() && left.empty() ? kDone : kNotDone;
}
