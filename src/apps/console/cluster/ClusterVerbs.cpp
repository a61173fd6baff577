// The verbs for a batch on a cluster: to run it, to look at it once, and to end it.

#include "apps/console/BatchDisplay.h"
#include "apps/console/OpenWrapper.h"
#include "apps/console/Question.h"
#include "apps/console/TaskTable.h"
#include "apps/console/TerminalText.h"
#include "apps/console/Verbs.h"
#include "apps/console/cluster/KeyPresses.h"
#include "apps/console/cluster/MachineName.h"
#include "apps/console/cluster/SignInOnTerminal.h"
#include "remote/cluster/SVTrelkindEngineLSF.h"
#include "remote/cluster/SchedulerJobs.h"
#include "remote/machines/SignInAnswers.h"
#include "task/engine/BatchCount.h"
#include "task/runs/RunTimes.h"
#include "task/wrapper/ShellWord.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <unistd.h>

namespace {

constexpr double kSecondsBetweenFrames = 0.5;

SVTrelkindEngineLSF* engineOf(OpenWrapper& wrapper)
{
    return dynamic_cast<SVTrelkindEngineLSF*>(wrapper.controller().engine());
}

// A strand's name, what it does, and how far it has come.
std::string strandLine(const char* strand, const toolkit::TextField& status, const toolkit::ProgressBar* bar,
    const std::string& besides)
{
    const double percentage = bar ? bar->doubleValue() : 0;
    std::string text = status.stringValue();
    if (!text.empty() && percentage > 0 && percentage < 100)
        text += fmt::format("  {:.0f}%", percentage);
    if (!text.empty() && !besides.empty())
        text += "; ";
    text += besides;
    return text.empty() ? text : fmt::format("{:<8}{}", strand, text);
}

// The lines above the task table.
std::vector<std::string> strandLines(OpenWrapper& wrapper)
{
    SVTrelkindEngineLSF* engine = engineOf(wrapper);
    if (!engine)
        return {};
    LsfAddition& panel = engine->panel();
    const std::string waiting = engine->waitsForSignIn() ? "waits for a sign-in" : "";
    // The strands whose steps have failed, which their buttons tell.
    const auto besides = [&](const toolkit::Button& button) { return button.isHidden() ? "" : waiting; };
    std::string ofOutput = engine->unknownSince() ? waiting : "";
    const auto seconds = engine->secondsToNextLook();
    const bool tellsTime = terminal::Output::standard().isTerminal && seconds;
    if (tellsTime)
        ofOutput += fmt::format("{}next look in {}", ofOutput.empty() ? "" : "; ", elapsedText(*seconds));
    std::vector<std::string> lines{
        strandLine("Batch", panel.directoryNameField, nullptr, besides(panel.checkWorkFolderButton)),
        strandLine("Source", panel.sourceStatus, &panel.sourceProgress, besides(panel.checkAgainButton)),
        strandLine("Input", panel.inputStatus, &panel.taskProgress, besides(panel.checkTaskUploadButton)),
        strandLine("Output", panel.outputStatus, tellsTime ? nullptr : &panel.outputProgress, ofOutput)};
    if (const auto since = engine->unknownSince())
        lines.push_back(fmt::format("{:<8}Nothing is known since {}", "", momentText(*since)));
    for (const std::string& remark : engine->remarks())
        lines.push_back(fmt::format("{:<8}{}", "", remark));
    std::erase(lines, "");
    return lines;
}

int tasksAtWork(const KRTrelkindController& controller)
{
    const auto& tasks = controller.taskInformation();
    return static_cast<int>(
        std::count_if(tasks.begin(), tasks.end(), [](const auto& task) { return task->isUnderWay(); }));
}

void openKeyOf(OpenWrapper& wrapper, const std::string& host)
{
    for (const auto& machine : wrapper.application().remoteMachines())
        if (auto* cluster = dynamic_cast<KRTrelkindMachineLSF*>(machine.get());
            cluster && cluster->machineName() == host)
            openKeyFile(*cluster->passwordInfo());
}

// Connects the wrapper with the machine that it is bound to, or that the user names.
bool connect(OpenWrapper& wrapper, const RunOptions& options)
{
    KRTrelkindController& controller = wrapper.controller();
    BatchFile batch(controller.wrapperName());
    batch.load();
    const auto host = batch.text(BatchFile::kHost);
    const auto name = options.on ? MachineName::parse(*options.on) : std::nullopt;
    if (options.on && !name)
        return false;
    for (const auto& machine : wrapper.application().remoteMachines())
        if (auto* cluster = dynamic_cast<KRTrelkindMachineLSF*>(machine.get()))
            cluster->wishes = {options.minutes, options.withoutArguments};
    if (host && (!name || name->host == *host)) {
        openKeyOf(wrapper, *host);
        controller.goOnWithBatch();
        if (!controller.engine())
            complain(fmt::format("{} has a batch on {}, which is not in the list of machines. \"trelkind "
                                 "machines add USER@{}\" adds it, and \"trelkind end\" gives the batch up.",
                controller.wrapperName(), *host, *host));
        return controller.engine() != nullptr;
    }
    if (host) {
        complain(
            fmt::format("{} has a batch on {}. \"trelkind run {}\" goes on with it, and \"trelkind end\" "
                        "gives it up.",
                controller.wrapperName(), *host, shellWord(controller.wrapperName())));
        return false;
    }
    const auto machine = knownMachine(wrapper.application(), *name);
    if (!machine)
        return false;
    if (options.workFolder)
        machine->form().workDirectoryNameField.setStringValue(*options.workFolder);
    if (!machine->hasBeenChecked())
        if (const std::string words = checkMachine(*machine); words != machinefolder::kWorked) {
            complain(fmt::format("{}: {}", name->text(), words));
            return false;
        }
    openKeyFile(*machine->passwordInfo());
    controller.connectMachine(*machine, name->queue);
    return controller.engine() != nullptr;
}

// Follows a batch until it has ended, stands still, or the user leaves it.
class BatchWatch {
public:
    BatchWatch(OpenWrapper& wrapper, const RunOptions& options)
        : wrapper_(wrapper), options_(options),
          display_(
              wrapper, options.json || options.quiet ? BatchDisplay::Kind::Silent : BatchDisplay::Kind::Shown,
              [&wrapper] { return std::max(1, tasksAtWork(wrapper.controller())); },
              [&wrapper] { return strandLines(wrapper); })
    {
        auto& loop = platform::MainLoop::main();
        for (const int signalNumber : {SIGINT, SIGTERM})
            watches_.push_back(loop.watchSignal(signalNumber, [this] { isInterrupted_ = true; }));
        watches_.push_back(loop.watchSignal(SIGHUP, [this] { display_.terminalHasGone(); }));
        watches_.push_back(loop.watchSignal(SIGTSTP, [this] {
            display_.leave();
            ::kill(::getpid(), SIGSTOP);
        }));
    }

    int run()
    {
        keys_.emplace([this](char key) { pressed(key); });
        waitsForKeys_ = keys_->areRead() && !options_.json && !options_.quiet;
        const auto frames = platform::Timer::schedule(
            kSecondsBetweenFrames, platform::Timer::Repeats::Yes, [this] { display_.update(); });
        display_.update();
        platform::MainLoop::main().runUntil([this] { return isOver(); });
        display_.update();
        keys_.reset();
        display_.finish();
        return outcome();
    }

private:
    bool isOver()
    {
        SVTrelkindEngineLSF* engine = engineOf(wrapper_);
        if (!engine || isInterrupted_)
            return true;
        if (options_.detach && engine->hasBeenSubmitted())
            return true;
        if (engine->isBusy() || !engine->standsStill()) {
            hasToldOfKey_ = false;
            return false;
        }
        if (!waitsForKeys_)
            return true;
        if (!std::exchange(hasToldOfKey_, true))
            display_.say(fmt::format("{} Press r to {}.", sentence(*engine->standsStill()),
                engine->waitsForSignIn() ? "sign in and try again" : "try again"));
        return false;
    }
    void pressed(char key)
    {
        SVTrelkindEngineLSF* engine = engineOf(wrapper_);
        if (!engine || key != 'r')
            return;
        if (const auto login = engine->waitsForSignIn(); login && !signIn(*login))
            return;
        if (engine->isStuck())
            wrapper_.controller().goOnWithBatch();
        else if (engine->standsStill())
            engine->tryAgain();
        else
            engine->checkForOutput();
    }
    // Whether all questions of the last attempt are answered, so that another one makes sense.
    bool signIn(const std::string& login)
    {
        bool isAnswered = false;
        display_.leave();
        keys_->withLines([&] { isAnswered = askOnTerminal(login); });
        display_.update();
        return isAnswered;
    }
    static std::string sentence(std::string words) { return words.ends_with('.') ? words : words + "."; }

    int outcome()
    {
        SVTrelkindEngineLSF* engine = engineOf(wrapper_);
        const std::string path = shellWord(wrapper_.controller().wrapperName());
        const bool shown = !options_.json || writeTasksAsJson(wrapper_);
        if (!engine) {
            const auto& tasks = wrapper_.controller().taskInformation();
            const bool allDone = std::all_of(
                tasks.begin(), tasks.end(), [](const auto& task) { return task->taskHasFinished(); });
            return shown && allDone ? kDone : kNotDone;
        }
        if (isInterrupted_) {
            complain(
                fmt::format("The batch stays on the cluster. \"trelkind run {}\" goes on with it.", path));
            return kInterrupted;
        }
        if (const auto words = engine->standsStill(); words && !engine->isBusy()) {
            if (!engine->refusal()) // Which the message center has told.
                complain(sentence(*words));
            if (const std::string compiler = engine->panel().makeOutputView.string(); !compiler.empty())
                complain(compiler);
            return kNotDone;
        }
        complain(
            fmt::format("The jobs are submitted. \"trelkind run {0}\" follows them, and \"trelkind check "
                        "{0}\" looks once.",
                path));
        return shown ? kDone : kNotDone;
    }

    OpenWrapper& wrapper_;
    const RunOptions& options_;
    BatchDisplay display_;
    std::optional<KeyPresses> keys_;
    bool isInterrupted_ = false;
    bool waitsForKeys_ = false;
    bool hasToldOfKey_ = false;
    std::vector<std::unique_ptr<platform::MainLoop::Watch>> watches_;
};

// What a batch leaves on the cluster when only its connection ends.
std::string whatStays(const KRTrelkindController& controller, const std::string& place)
{
    const auto& tasks = controller.taskInformation();
    const auto unfinished =
        std::count_if(tasks.begin(), tasks.end(), [](const auto& task) { return !task->taskIsFinished(); });
    return fmt::format("{} stays on the cluster{}.", place, unfinished ? ", and its jobs go on there" : "");
}

// Runs an operation here and now. Whether it succeeded; else the reason is printed.
bool perform(ClusterOperation& operation, const std::string& failure)
{
    operation.main();
    if (operation.error())
        complain(fmt::format("{}: {}", failure, *operation.error()));
    return !operation.error();
}

bool cancelJobs(const SVSSHPasswordInfo::Pointer& login, const std::string& folder)
{
    bool worked = false;
    const auto failed = [](const std::string& reason) { complain(reason); };
    std::vector<SchedulerJob> jobs;
    SVSSHCommand query(
        schedulerjobs::queryCommand(), login, nullptr,
        [&](SVSSHCommand& command) {
            worked = command.exitStatus() == 0;
            jobs = schedulerjobs::parse(command.printed(), folder);
        },
        failed);
    query.main();
    if (!worked || jobs.empty())
        return worked;
    SVSSHCommand cancel(
        schedulerjobs::cancelCommand(jobs), login, nullptr,
        [&](SVSSHCommand& command) { worked = command.exitStatus() == 0; }, failed);
    worked = false;
    cancel.main();
    return worked;
}

} // namespace

bool hasBatchOnCluster(const std::string& wrapper)
{
    if (whyNoWrapper(wrapper))
        return false;
    BatchFile batch(wrapper);
    batch.load();
    return batch.has(BatchFile::kHost);
}

int clusterRunVerb(const RunOptions& options)
{
    if (options.minutes && !(*options.minutes > 0 && std::isfinite(*options.minutes))) {
        complain("The minutes between looks must be more than 0.");
        return kWrongUse;
    }
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    answerSignInOnTerminal(options.acceptNewHostKey);
    if (!connect(*wrapper, options))
        return kNotDone;
    return BatchWatch(*wrapper, options).run();
}

int checkVerb(const CheckOptions& options)
{
    answerSignInOnTerminal(false);
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    BatchFile batch(wrapper->controller().wrapperName());
    batch.load();
    if (!batch.has(BatchFile::kRunsStarted)) {
        complain(batch.has(BatchFile::kHost)
                ? fmt::format("The batch is not submitted yet. \"trelkind run {}\" goes on with it.",
                    shellWord(wrapper->controller().wrapperName()))
                : fmt::format("{} has no batch on a cluster.", wrapper->controller().wrapperName()));
        return kNotDone;
    }
    RunOptions asRun;
    asRun.wrapper = options.wrapper;
    if (!connect(*wrapper, asRun))
        return kNotDone;
    SVTrelkindEngineLSF* engine = nullptr;
    platform::MainLoop::main().runUntil([&] {
        engine = engineOf(*wrapper);
        return !engine || engine->standsStill() || (engine->numberOfLooks() > 0 && !engine->isBusy());
    });
    const std::string failure = engine ? engine->panel().outputStatus.stringValue() : "";
    const bool isWhole = !engine || engine->lastLookWasWhole();
    const bool shown = options.json
        ? writeTasksAsJson(*wrapper)
        : terminal::write(taskTable(*wrapper).text(terminal::Output::standard().size().columns))
            && terminal::write(BatchCount::of(wrapper->controller()).sentence() + "\n");
    if (engine)
        for (const std::string& remark : engine->remarks())
            complain(remark + ".");
    if (!failure.empty())
        complain(failure + ".");
    return shown && isWhole && failure.empty() ? kDone : kNotDone;
}

int endVerb(const EndOptions& options)
{
    answerSignInOnTerminal(false);
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    KRTrelkindController& controller = wrapper->controller();
    BatchFile batch(controller.wrapperName());
    batch.load();
    const auto host = batch.text(BatchFile::kHost);
    if (!host || batch.isUnreadable()) {
        complain(fmt::format("{} has no batch on a cluster.", controller.wrapperName()));
        return kNotDone;
    }
    const std::string user = batch.text(BatchFile::kUserName).value_or("");
    const std::string folder = platform::paths::appending(
        batch.text(BatchFile::kWorkFolder).value_or(KRTrelkindMachineLSF::kUsualWorkDirectory),
        batch.text(BatchFile::kUuid).value_or(""));
    const std::string place = fmt::format("{}@{}:{}", user, *host, folder);
    if (const auto status = batch.check(); !status.ok() && options.remove) {
        complain(status.error().text);
        return kNotDone;
    }
    if (!options.yes
        && !askYesOrNo(fmt::format("End the connection of {} with its batch? {}", controller.wrapperName(),
            options.remove ? fmt::format("{} and all that is not fetched from it will be removed.", place)
                           : whatStays(controller, place))))
        return kNotDone;
    const auto lock = controller.lockForRunning();
    if (lock->isTaken()) {
        complain(fmt::format("{} is being run by another trelkind.", controller.wrapperName()));
        return kNotDone;
    }
    if (options.cancelJobs || options.remove) {
        const auto machine = knownMachine(wrapper->application(), {user, *host, ""});
        if (!machine)
            return kNotDone;
        if (options.cancelJobs && !cancelJobs(machine->passwordInfo(), folder)) {
            complain("The jobs could not be cancelled.");
            return kNotDone;
        }
        if (options.remove) {
            const auto removal =
                std::make_shared<SVRemoveFolderOperation>(machine->passwordInfo(), folder, nullptr, nullptr);
            if (!perform(*removal, "Failed to remove"))
                return kNotDone;
            if (removal->hasFailed()) {
                complain(fmt::format("{} could not be removed; some of it may be left.", place));
                return kNotDone;
            }
        }
    }
    batch.deleteFromDisk();
    return terminal::write(terminal::printable(options.remove ? fmt::format("Removed {}.", place)
                                                              : whatStays(controller, place))
               + "\n")
        ? kDone
        : kNotDone;
}
