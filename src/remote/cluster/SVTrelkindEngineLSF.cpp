#include "remote/cluster/SVTrelkindEngineLSF.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "remote/cluster/BatchUpload.h"
#include "remote/cluster/JobScripts.h"
#include "remote/cluster/SchedulerJobs.h"
#include "remote/machines/ClusterNames.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/engine/BatchCount.h"
#include "task/single/SVSingleTask.h"
#include "task/single/SVTaskController.h"
#include "toolkit/Workspace.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <tuple>

namespace {

using platform::paths::appending;

constexpr double kUsualMinutes = 15;
constexpr double kSecondsPerMinute = 60;
constexpr double kSecondsBetweenWakes = 10; // Between looks for a sleep of this machine.
constexpr double kShortSleep = 30; // Seconds, after which nothing is done earlier.
constexpr int kCanNotExecute = 126; // A shell's exit status.

// The leading number of a text, 0 without one.
double doubleValue(const std::string& text)
{
    return std::strtod(text.c_str(), nullptr);
}

// Where there is no application, as in a test of an engine alone.
platform::OperationQueue& queueWithoutApplication()
{
    static platform::OperationQueue queue;
    return queue;
}

constexpr double kSecondsBetweenSituations = 1;

} // namespace

std::shared_ptr<SVTrelkindEngineLSF> SVTrelkindEngineLSF::initWithTask(
    SVTaskController& controller, std::shared_ptr<KRTrelkindMachineLSF> machine, std::string queue)
{
    std::shared_ptr<SVTrelkindEngineLSF> engine(
        new SVTrelkindEngineLSF(controller, std::move(machine), std::move(queue)));
    engine->begin();
    return engine;
}

SVTrelkindEngineLSF::SVTrelkindEngineLSF(
    SVTaskController& controller, std::shared_ptr<KRTrelkindMachineLSF> machine, std::string queue)
    : SVTrelkindEngine(&controller), machine_(std::move(machine)), queue_(std::move(queue)),
      wrapper_(controller.wrapperName()), infoFile_(controller.wrapperName())
{
    panel_.checkWorkFolderButton.whenPressed = [this] { checkWorkFolderAgain(); };
    panel_.checkAgainButton.whenPressed = [this] { tryRunningAgain(); };
    panel_.checkTaskUploadButton.whenPressed = [this] { tryUploadingTasks(); };
    panel_.checkOutputButton.whenPressed = [this] { checkForOutput(); };
    panel_.minutesBetween.whenCommitted = [this] { minutesChanged(); };
    panel_.signInButton.whenPressed = [this] { signIn(); };
    panel_.withoutArgumentsButton.whenPressed = [this] { goOnWithoutArguments(); };
    if (const auto minutes = machine_->wishes.minutesBetweenLooks)
        panel_.minutesBetween.setStringValue(fmt::format("{}", *minutes));
    minutesBetweenChecks_ = doubleValue(panel_.minutesBetween.stringValue());
}

void SVTrelkindEngineLSF::begin()
{
    situationTimer_ = platform::Timer::schedule(
        kSecondsBetweenSituations, platform::Timer::Repeats::Yes, [this] { showSituation(); });
    openBatch_ = ConnectionPool::shared().openBatch(passwordInfo()->login());
    infoFile_.load();
    if (const auto host = infoFile_.text(BatchFile::kHost); host != machine_->machineName()) {
        if (host)
            KRMessageCenter::addMessage("Should remove the information from the old host");
        if (!infoFile_.isUnreadable())
            infoFile_.clear();
        infoFile_.set(BatchFile::kHost, machine_->machineName());
        if (!queue_.empty())
            infoFile_.set(BatchFile::kQueue, machine_->machineName());
    }
    const auto setWhenAbsent = [this](const char* key, const std::string& value) {
        if (!infoFile_.has(key))
            infoFile_.set(key, value);
    };
    setWhenAbsent(BatchFile::kUuid, platform::makeUuid());
    setWhenAbsent(BatchFile::kUserName, machine_->userName());
    setWhenAbsent(BatchFile::kWorkFolder, machine_->workDirectory());
    if (machine_->wishes.withoutArguments)
        setWhenAbsent(BatchFile::kWithoutArguments, "YES");
    if (const auto status = checkBeforeBegin(); !status.ok())
        return setRefusal(status.error().text);
    makeSureFolderExists();
}

platform::Status SVTrelkindEngineLSF::checkBeforeBegin()
{
    if (auto status = infoFile_.check(); !status.ok())
        return status;
    if (auto status = clusternames::checkProgram(programName()); !status.ok())
        return status;
    lock_.reset(); // Another one is taken only when the one that failed is gone.
    lock_ = taskController_->lockForRunning();
    if (lock_->isTaken())
        return platform::Error{fmt::format("{} is being run, or cleared, by another trelkind.", wrapper_)};
    const auto& tasks = taskController_->taskInformation();
    const bool losesArguments = std::any_of(tasks.begin(), tasks.end(),
        [](const auto& task) { return task->taskShouldBeRun() && !task->argument().empty(); });
    const bool isAgreed =
        infoFile_.has(BatchFile::kTasksCopied) || infoFile_.has(BatchFile::kWithoutArguments);
    panel_.withoutArgumentsButton.setHidden(!losesArguments || isAgreed);
    if (losesArguments && !isAgreed)
        return platform::Error{
            "The tasks have arguments, which don't reach their runs on a cluster. Write the parameters into "
            "input files, or run the tasks without their arguments."};
    // What can't be kept would be done twice.
    return infoFile_.saveIfChanged();
}

void SVTrelkindEngineLSF::setRefusal(std::string sentence)
{
    KRMessageCenter::addMessage("The batch can not be run on the cluster.", sentence);
    panel_.directoryNameField.setStringValue(sentence);
    panel_.checkWorkFolderButton.setHidden(false);
    refusal_ = std::move(sentence);
}

void SVTrelkindEngineLSF::goOnWithoutArguments()
{
    infoFile_.set(BatchFile::kWithoutArguments, "YES");
    panel_.withoutArgumentsButton.setHidden(true);
    makeSureFolderExists();
}

std::string SVTrelkindEngineLSF::programName() const
{
    return taskController_ ? clusternames::program(taskController_->executable()) : "";
}

// The machine's own is typed anew after each start of the program; the batch stays where it is.
std::string SVTrelkindEngineLSF::machineWorkDirectory() const
{
    return infoFile_.text(BatchFile::kWorkFolder).value_or(machine_->workDirectory());
}

std::string SVTrelkindEngineLSF::workDirectory() const
{
    return appending(machineWorkDirectory(), infoFile_.text(BatchFile::kUuid).value_or(""));
}

std::string SVTrelkindEngineLSF::remotePath(const char* name) const
{
    return appending(workDirectory(), name);
}

void SVTrelkindEngineLSF::addLong(std::shared_ptr<platform::Operation> operation)
{
    auto* app = KRTrelkindApplication::app();
    (app ? app->copyingFilesOnLocalMachine() : queueWithoutApplication()).addOperation(std::move(operation));
}

void SVTrelkindEngineLSF::addShort(std::shared_ptr<platform::Operation> operation)
{
    auto* app = KRTrelkindApplication::app();
    (app ? app->localMachineQueue() : queueWithoutApplication()).addOperation(std::move(operation));
}

void SVTrelkindEngineLSF::disconnect()
{
    stopTimers();
    situationTimer_.reset();
    isEnded_ = true;
    infoFile_.deleteFromDisk();
    lock_.reset();
    openBatch_.reset();
}

void SVTrelkindEngineLSF::disconnectFromTaskController()
{
    stopTimers();
    situationTimer_.reset();
    openBatch_.reset();
    taskController_ = nullptr;
}

void SVTrelkindEngineLSF::makeSureFolderExists()
{
    if (creatingWorkFolder_ || !isAttached())
        return;
    if (refusal_) {
        if (const auto status = checkBeforeBegin(); !status.ok())
            return setRefusal(status.error().text);
        refusal_.reset();
        panel_.checkWorkFolderButton.setHidden(true);
    }
    if (infoFile_.has(BatchFile::kWorkFolderExists)) {
        showFolder();
        makeSureExecutableExists();
        return continueStrands();
    }
    creatingWorkFolder_ = true;
    panel_.checkWorkFolderButton.setHidden(true);
    panel_.directoryNameField.setStringValue("Making sure that work folder exists");
    addLong(std::make_shared<SVCheckIfWorkFolderExists>(
        passwordInfo(), workDirectory(), callback(&SVTrelkindEngineLSF::workFolderCheckFinished)));
}

void SVTrelkindEngineLSF::showFolder()
{
    panel_.directoryNameField.setStringValue(
        fmt::format("{}     {}", machine_->machineDescription(), workDirectory()));
}

void SVTrelkindEngineLSF::workFolderCheckFinished(SVCheckIfWorkFolderExists& operation)
{
    creatingWorkFolder_ = false;
    if (operation.error()) {
        panel_.directoryNameField.setStringValue(*operation.error());
        panel_.checkWorkFolderButton.setHidden(false);
        return;
    }
    showFolder();
    infoFile_.setFlag(BatchFile::kWorkFolderExists);
    askForCondition();
    makeSureExecutableExists();
    continueStrands();
}

// Every step of the source strand ends with the steps of the others.
void SVTrelkindEngineLSF::continueStrands()
{
    makeSureTasksExist();
    runExecutableIfPossible();
    checkOutputIfNeeded();
}

void SVTrelkindEngineLSF::makeSureTasksExist()
{
    if (uploadingTasks_ || !infoFile_.has(BatchFile::kWorkFolderExists) || !isAttached())
        return;
    if (infoFile_.has(BatchFile::kTasksCopied)) {
        panel_.inputStatus.setStringValue("Input tasks uploaded");
        runExecutableIfPossible();
        return checkOutputIfNeeded();
    }
    uploadingTasks_ = true;
    panel_.inputStatus.setStringValue("Copying input");
    addLong(std::make_shared<SVCopyUsingSCPFromLocal>(inputList(), passwordInfo(),
        progressOf(&LsfAddition::taskProgress), callback(&SVTrelkindEngineLSF::copyingTasksFinished)));
}

void SVTrelkindEngineLSF::tryUploadingTasks()
{
    panel_.checkTaskUploadButton.setHidden(true);
    makeSureTasksExist();
}

void SVTrelkindEngineLSF::copyingTasksFinished(SVCopyUsingSCPFromLocal& operation)
{
    uploadingTasks_ = false;
    if (operation.error()) {
        panel_.inputStatus.setStringValue(*operation.error());
        panel_.checkTaskUploadButton.setHidden(false);
        return;
    }
    infoFile_.setFlag(BatchFile::kTasksCopied);
    panel_.checkTaskUploadButton.setHidden(true);
    panel_.inputStatus.setStringValue("Input tasks uploaded");
    runExecutableIfPossible();
}

void SVTrelkindEngineLSF::runExecutableIfPossible()
{
    if (infoFile_.has(BatchFile::kRunsStarted))
        return checkOutputIfNeeded();
    if (submittingRun_ || !isAttached() || !infoFile_.has(BatchFile::kExecutableExists)
        || !infoFile_.has(BatchFile::kTasksCopied))
        return;
    submittingRun_ = true;
    const auto failed = stuck("submission", &SVTrelkindEngineLSF::submittingRun_);
    if (const auto saved = infoFile_.saveIfChanged(); !saved.ok()) // Jobs that are forgotten run twice.
        return failed(saved.error().text);
    addLong(std::make_shared<SVSSHCommand>(remotePath(jobscripts::kSubmitTasks), passwordInfo(), nullptr,
        callback(&SVTrelkindEngineLSF::startFinished), failed));
}

void SVTrelkindEngineLSF::startFinished(SVSSHCommand& operation)
{
    // The script never ran, such as when a broken connection still has it open: nothing was submitted, and
    // with the flag nothing ever would be.
    if (operation.exitStatus() == kCanNotExecute
        && schedulerjobs::parseSubmission(operation.printed()).accepted == 0)
        return stuck("submission", &SVTrelkindEngineLSF::submittingRun_)(operation.printed());
    submittingRun_ = false;
    infoFile_.setFlag(BatchFile::kRunsStarted);
    reportRefusedJobs(operation.printed());
    panel_.outputStatus.setStringValue("Tasks submitted");
    checkOutputIfNeeded();
}

// The chain doesn't examine the submission, but nobody should wait for jobs that were refused.
void SVTrelkindEngineLSF::reportRefusedJobs(const std::string& printed)
{
    if (!isAttached())
        return;
    std::set<int> runs;
    for (const auto& task : taskController_->taskInformation())
        if (task->taskShouldBeRun())
            runs.insert(task->numberInProject());
    const auto submission = schedulerjobs::parseSubmission(printed);
    const bool allAccepted = submission.accepted >= runs.size();
    if (!allAccepted)
        goneRuns_ = runs; // So that the next answer of the scheduler names those without a job.
    if (!allAccepted || !submission.complaints.empty())
        KRMessageCenter::addMessage(
            allAccepted ? "The scheduler remarks on the jobs." : "The scheduler has refused jobs.",
            fmt::format("{} of {} accepted. {}", submission.accepted, runs.size(),
                fmt::join(submission.complaints, "\n")));
}

void SVTrelkindEngineLSF::checkOutputIfNeeded()
{
    if (!infoFile_.has(BatchFile::kRunsStarted) || checkingTimer_ || !isAttached())
        return;
    panel_.checkOutputButton.setHidden(false);
    checkForOutput();
    scheduleTimer(minutesBetweenChecks_);
}

void SVTrelkindEngineLSF::scheduleTimer(double minutes)
{
    const double seconds = minutes * kSecondsPerMinute;
    const auto look = [this] {
        nextLook_ = platform::monotonicSeconds() + lookInterval_;
        checkForOutput();
    };
    lookInterval_ = std::isfinite(seconds) ? std::max(seconds, 0.0) : 0;
    nextLook_ = platform::monotonicSeconds() + lookInterval_;
    checkingTimer_ = std::isfinite(seconds)
        ? platform::Timer::schedule(std::max(seconds, 0.0), platform::Timer::Repeats::Yes, look)
        : platform::Timer::unscheduled(seconds, look);
    secondsAsleep_ = platform::secondsAsleep();
    wakeTimer_ = platform::Timer::schedule(
        kSecondsBetweenWakes, platform::Timer::Repeats::Yes, [this] { lookAfterSleep(); });
}

void SVTrelkindEngineLSF::stopTimers()
{
    checkingTimer_.reset();
    wakeTimer_.reset();
}

// A machine that wakes looks at once: its timers have not counted the sleep.
void SVTrelkindEngineLSF::lookAfterSleep()
{
    const double asleep = platform::secondsAsleep();
    if (asleep - std::exchange(secondsAsleep_, asleep) > kShortSleep)
        checkForOutput();
}

void SVTrelkindEngineLSF::minutesChanged()
{
    const double minutes = doubleValue(panel_.minutesBetween.stringValue());
    if (minutes == minutesBetweenChecks_)
        return;
    if (minutes > 0 && std::isfinite(minutes)) {
        minutesBetweenChecks_ = minutes;
    } else {
        panel_.minutesBetween.setStringValue("15");
        minutesBetweenChecks_ = kUsualMinutes;
    }
    checkForOutput();
    scheduleTimer(minutes); // As entered: the timer doesn't take the corrected value.
}

void SVTrelkindEngineLSF::checkForOutput()
{
    if (checkingOutput_ || !isAttached() || refusal_)
        return; // A refused batch may name any folder, which a look at it could remove.
    checkingOutput_ = true;
    std::ignore = infoFile_.saveIfChanged(); // A full disk may have kept the last flag from it.
    panel_.checkOutputButton.setHidden(true);
    panel_.outputStatus.setStringValue("Checking for output");
    std::vector<std::string> folders;
    for (const auto& task : taskController_->taskInformation())
        if (!task->taskIsFinished())
            folders.push_back(std::to_string(task->numberInProject()));
    const auto self = std::static_pointer_cast<SVTrelkindEngineLSF>(shared_from_this());
    addShort(std::make_shared<SVSCPCopyFromFolders>(passwordInfo(), std::move(folders), workDirectory(),
        wrapper_, std::set<std::string>{programName()},
        SVSCPCopyFromFolders::Callback{[self](const auto& folder) { self->copyTaskStarted(folder); },
            [self](const auto& folder, const auto& newFiles, const auto& updatedFiles) {
                self->copyTask(folder, !newFiles.empty() || !updatedFiles.empty());
            },
            callback(&SVTrelkindEngineLSF::copyFromFoldersFinished)}));
}

std::shared_ptr<SVSingleTask> SVTrelkindEngineLSF::taskNumbered(const std::string& folder) const
{
    const auto index = static_cast<std::size_t>(std::atoi(folder.c_str()));
    if (!taskController_ || index >= taskController_->taskInformation().size())
        return nullptr;
    return taskController_->taskInformation()[index];
}

void SVTrelkindEngineLSF::copyTaskStarted(const std::string& folder)
{
    if (const auto task = taskNumbered(folder)) {
        task->startedARemoteCheck();
        taskController_->reloadTaskList();
    }
}

void SVTrelkindEngineLSF::copyTask(const std::string& folder, bool hasNews)
{
    const auto task = taskNumbered(folder);
    if (!task)
        return;
    task->endedARemoteCheck();
    if (hasNews)
        task->updateBasedOnContent();
    taskController_->reloadTaskList();
}

void SVTrelkindEngineLSF::copyFromFoldersFinished(SVSCPCopyFromFolders& operation)
{
    checkingOutput_ = false;
    ++numberOfLooks_;
    lastLookWasWhole_ = operation.complaints().empty();
    for (const std::string& complaint : operation.complaints())
        KRMessageCenter::addMessage("Could not bring a file.", complaint);
    panel_.outputStatus.setStringValue(operation.error().value_or(""));
    panel_.checkOutputButton.setHidden(false);
    noteContact(operation.error().has_value());
    if (!isAttached())
        return;
    const auto& tasks = taskController_->taskInformation();
    if (std::all_of(tasks.begin(), tasks.end(), [](const auto& task) { return task->taskIsFinished(); }))
        removeFromServer();
    else if (!operation.error())
        askScheduler();
}

void SVTrelkindEngineLSF::noteContact(bool hasFailed)
{
    const double now =
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    if (!hasFailed) {
        lastContact_ = now;
        unknownSince_.reset();
    } else if (!unknownSince_) {
        unknownSince_ = lastContact_ > 0 ? lastContact_ : now;
    }
}

void SVTrelkindEngineLSF::removeFromServer()
{
    if (std::exchange(removingEverything_, true))
        return;
    stopTimers();
    panel_.outputStatus.setStringValue("Removing from server");
    addShort(std::make_shared<SVRemoveFolderOperation>(passwordInfo(), workDirectory(),
        callback(&SVTrelkindEngineLSF::folderRemovalDone),
        stuck("removal", &SVTrelkindEngineLSF::removingEverything_)));
}

void SVTrelkindEngineLSF::folderRemovalDone(SVRemoveFolderOperation& operation)
{
    if (operation.error()) {
        removingEverything_ = false;
        panel_.outputStatus.setStringValue("Failed to remove");
    }
    if (operation.error() || operation.hasFailed())
        KRMessageCenter::addMessage("Failed to remove the folder of the batch from the cluster.",
            fmt::format("{}@{}:{}: {}", machine_->userName(), machine_->machineName(), workDirectory(),
                operation.error().value_or("some of it may be left.")));
    if (!isAttached())
        return;
    if (const auto& notify = toolkit::Workspace::shared().notify)
        notify(platform::paths::lastComponent(wrapper_), BatchCount::of(*taskController_).sentence());
    taskController_->endAllTasks();
}

std::function<void(const std::string&)> SVTrelkindEngineLSF::stuck(
    const char* step, bool SVTrelkindEngineLSF::*busyMark)
{
    return [self = std::static_pointer_cast<SVTrelkindEngineLSF>(shared_from_this()), step, busyMark](
               const std::string& reason) {
        self->stuckStep_ = {fmt::format("The {} on the cluster has failed.", step), busyMark};
        KRMessageCenter::addMessage(self->stuckStep_->words,
            fmt::format("{} Close the wrapper and open it again to repeat this step.", reason));
    };
}

SVCopyUsingSCPFromLocal::Progress SVTrelkindEngineLSF::progressOf(toolkit::ProgressBar LsfAddition::*bar)
{
    return [self = std::static_pointer_cast<SVTrelkindEngineLSF>(shared_from_this()), bar](double growth) {
        toolkit::ProgressBar& progress = self->panel_.*bar;
        progress.setDoubleValue(progress.doubleValue() + growth);
    };
}

// Copies what the worker needs: it makes the list while the wrapper may change.
SVCopyUsingSCPFromLocal::List SVTrelkindEngineLSF::inputList() const
{
    std::vector<int> runs;
    for (const auto& task : taskController_->taskInformation())
        if (task->taskShouldBeRun())
            runs.push_back(task->numberInProject());
    return [runs = std::move(runs), wrapper = wrapper_, folder = machineWorkDirectory(),
               batch = infoFile_.text(BatchFile::kUuid).value_or(""), program = programName()] {
        return batchupload::input(batchupload::Kind::Batch, wrapper, folder, batch, program, runs);
    };
}
