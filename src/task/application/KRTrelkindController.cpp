#include "task/application/KRTrelkindController.h"

#include "diagnostics/Exception.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/FolderLock.h"
#include "platform/files/Paths.h"
#include "platform/files/TildePaths.h"
#include "platform/plist/PropertyList.h"
#include "task/application/TableSettings.h"
#include "task/engine/SVTrelkindEngineLocal.h"
#include "task/single/Notifications.h"
#include "task/single/SVTaskApplication.h"
#include "task/wrapper/UploadPreparation.h"
#include "task/wrapper/WrapperList.h"
#include "text/RtfText.h"
#include "toolkit/Workspace.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::Value;

constexpr int kAttemptsToLock = 5;
constexpr auto kWaitBetweenAttempts = std::chrono::milliseconds(5);

std::int64_t upToCount = 0;

// The machine with this name; of several, the one with the batch's user.
std::shared_ptr<KRTrelkindMachine> machineOfBatch(const std::vector<std::shared_ptr<KRTrelkindMachine>>& list,
    const std::string& host, const std::optional<std::string>& user)
{
    std::shared_ptr<KRTrelkindMachine> found;
    for (const auto& machine : list) {
        if (machine->machineName() != host)
            continue;
        if (user && machine->machineDescription() == *user + "@" + host)
            return machine;
        if (!found)
            found = machine;
    }
    return found;
}

} // namespace

KRTrelkindController::SetupMaker& KRTrelkindController::setupMaker()
{
    static SetupMaker maker;
    return maker;
}

std::shared_ptr<KRTrelkindController> KRTrelkindController::createFromWrapperName(const std::string& path)
{
    std::shared_ptr<KRTrelkindController> controller(new KRTrelkindController(path));
    controller->loadWindow();
    controller->insertTextIntoFields();
    controller->finishWindowSetup();
    controller->views_->window.orderFront();
    return controller;
}

KRTrelkindController::KRTrelkindController(const std::string& initWithWrapperName)
    : serialNumber_(upToCount++)
{
    observeNotifications();
    wrapper_ = TaskWrapper::read(initWithWrapperName);
    makeTasks();
}

KRTrelkindController::~KRTrelkindController()
{
    observations_.clear();
    for (const auto& task : taskInformation_)
        task->removeFromProject();
    disconnectEngines();
}

void KRTrelkindController::disconnectEngines()
{
    if (engine_)
        engine_->disconnectFromTaskController();
    for (const auto& detached : detachedEngines_)
        if (const auto engine = detached.lock())
            engine->disconnectFromTaskController();
}

void KRTrelkindController::observeNotifications()
{
    auto& center = platform::NotificationCenter::defaultCenter();
    const auto observe = [&](const char* name, platform::NotificationCenter::Handler handler) {
        observations_.push_back(center.observe(name, std::move(handler)));
    };
    observe(notifications::kEngineDisconnected,
        [this](const auto& notification) { engineDisconnected(notification); });
    observe(notifications::kReloadMachineList, [this](const auto&) { fillEnginesAgain(); });
    observe(notifications::kWindowClosed, [this](const auto&) { fillEnginesAgain(); });
    observe(notifications::kCallMeIfYouDontWantToQuit, [this](const auto&) { checkIfCanQuit(); });
}

void KRTrelkindController::makeTasks()
{
    const auto descriptions = wrapper_.taskDescriptions();
    taskInformation_.reserve(descriptions.size());
    for (const Value& description : descriptions)
        taskInformation_.push_back(
            SVSingleTask::createInsideProject(this, static_cast<int>(taskInformation_.size()), description));
    rows_.order(taskInformation_, {});
}

std::optional<std::string> KRTrelkindController::xCodeProject() const
{
    return wrapper_.storedInformation.textFor("Project Name");
}

toolkit::Table* KRTrelkindController::outputTable() const
{
    return views_ ? &views_->outputFromProgram : nullptr;
}

toolkit::Window* KRTrelkindController::window() const
{
    return views_ ? &views_->window : nullptr;
}

void KRTrelkindController::loadWindow()
{
    views_ = std::make_unique<TrelkindWindow>();
    variablePlot_ = std::make_unique<VariablePlot>(views_->plot);
    fileText_ = std::make_unique<FileText>(views_->fileText);
    for (toolkit::Table* table : {&views_->taskList, &views_->fileTable, &views_->dataFileContent}) {
        table->setDataSource(this);
        table->setDelegate(this);
    }
    if (TableSettings* settings = TableSettings::current()) {
        settings->follow(views_->taskList, "Tasks");
        settings->follow(views_->fileTable, "Files");
        settings->follow(views_->dataFileContent, "Variables");
    }
    views_->taskList.whenSorted = [this] { orderTasks(); };
    views_->shownTasks.whenChosen = [this] { orderTasks(); };
    views_->taskFilter.whenEdited = [this] { orderTasks(); };
    views_->taskFilter.whenCommitted = [this] { orderTasks(); };
    orderTasks();
    views_->outputFromProgram.setDataSource(this);
    views_->window.shouldClose = [this] { return windowShouldClose(); };
    views_->xCodeProjectLocation.whenCommitted = [this] { xCodeProjectChanged(); };
    views_->writeUp.whenEdited = [this] { textDidChange(); };
    views_->writeUp.whenEditingEnded = [this] { textDidEndEditing(); };
    views_->fixedPartOfView.willSelect = [this] { willSelectTabViewItem(); };
}

void KRTrelkindController::insertTextIntoFields()
{
    views_->executable.setStringValue(executable().value_or(""));
    views_->window.setTitle(wrapperName());
    views_->howMuchIsDoneField.setStringValue(
        fmt::format("{}/{}", howManyTasksAreFinished_, taskInformation_.size()));
    readWriteUp();
    if (const auto description = files::readFile(wrapperName() + "/Description.rtfd/TXT.rtf"))
        if (const auto text = RtfText::read(*description))
            views_->setupDescription.setText(text->text);
    views_->xCodeProjectLocation.setStringValue(xCodeProject().value_or(""));
}

void KRTrelkindController::readWriteUp()
{
    const std::string package = wrapperName() + "/Info.rtfd";
    const auto document = files::readFile(package + "/TXT.rtf");
    if (!document) {
        if (!files::exists(package))
            return;
        const auto names = files::contentsOfDirectory(package);
        writeUpIsUnreadable_ = !names || std::find(names->begin(), names->end(), "TXT.rtf") != names->end();
        return;
    }
    const auto notes = RtfText::read(*document);
    writeUpIsUnreadable_ = !notes;
    if (!notes)
        return;
    views_->writeUp.setText(notes->text);
    // Pictures and other attachments are further files of the package.
    const auto names = files::contentsOfDirectory(package).value_or(std::vector<std::string>());
    if (notes->isWhole && names.size() <= 1)
        return;
    views_->writeUp.setEditable(false);
    KRMessageCenter::addMessage("The notes can only be read.",
        fmt::format("{} holds more than text in paragraphs, bold, italic or underlined, which would be lost.",
            package));
}

void KRTrelkindController::finishWindowSetup()
{
    if (SVTaskApplication* app = SVTaskApplication::app(); app && app->goesOnWithBatches())
        goOnWithBatch();
}

void KRTrelkindController::goOnWithBatch()
{
    const auto stored = WrapperList::read(wrapperName() + "/Remote Machine.plist").dictionary;
    const auto host = stored.textFor("Host");
    SVTaskApplication* app = SVTaskApplication::app();
    if (!host || !app)
        return;
    const auto machine = machineOfBatch(app->remoteMachines(), *host, stored.textFor("User Name"));
    if (!machine)
        return;
    releaseEngine(&SVTrelkindEngine::disconnectFromTaskController);
    connectMachine(*machine, stored.textFor("Queue").value_or(""));
    if (engine_)
        engine_->updateStatus();
}

void KRTrelkindController::connectMachine(KRTrelkindMachine& machine, const std::string& queue)
{
    if (engine_)
        return;
    engine_ = machine.createTaskFor(*this, queue);
    addViewForEngine();
}

void KRTrelkindController::addViewForEngine()
{
    toolkit::View* panel = engine_ ? engine_->settingsView() : nullptr;
    if (!panel || !views_)
        return;
    const double height = panel->frame().height;
    panel->setFrame({0, 0, views_->fixedPartOfView.frame().width, height});
    views_->raiseFixedPart(height);
    if (toolkit::View* parent = views_->fixedPartOfView.superview())
        parent->addSubview(*panel);
}

bool KRTrelkindController::isStillEnding(const SVSingleTask& task) const
{
    return std::any_of(detachedEngines_.begin(), detachedEngines_.end(), [&task](const auto& detached) {
        const auto engine = detached.lock();
        return engine && engine->isAtWork(task.numberInProject());
    });
}

std::shared_ptr<platform::FolderLock> KRTrelkindController::lockForRunning()
{
    auto lock = lockForRunning_.lock();
    if (!lock) {
        // Another program may hold the lock for a moment, only to look at the wrapper.
        for (int attempt = 0; attempt < kAttemptsToLock && (!lock || lock->isTaken()); ++attempt) {
            if (lock)
                std::this_thread::sleep_for(kWaitBetweenAttempts);
            lock =
                std::make_shared<platform::FolderLock>(wrapperName(), platform::FolderLock::Kind::Exclusive);
        }
        lockForRunning_ = lock;
    }
    return lock;
}

void KRTrelkindController::changeInTask(SVSingleTask& task)
{
    if (!views_)
        return;
    reloadTaskList();
    if (selectedTask().get() == &task)
        reloadFileTables();
}

void KRTrelkindController::changeInContentOf(SVSingleTask& task)
{
    if (!views_)
        return;
    if (selectedTask().get() == &task)
        reloadVariables();
    plotVariable();
}

void KRTrelkindController::reloadTaskList()
{
    if (!views_)
        return;
    views_->taskList.reloadData();
    orderTasksSoon();
}

void KRTrelkindController::startedComputingTask(SVSingleTask&, SVTaskMachine*)
{
    fillEngines();
}

void KRTrelkindController::finishedTask(SVSingleTask&, SVTaskMachine*)
{
    fillEngines();
    if (const auto& note = toolkit::Workspace::shared().noteFileSystemChanged)
        note(wrapperName());
    reloadTaskList();
}

void KRTrelkindController::changeRunningStatus(SVSingleTask&, const std::string&, SVTaskMachine*)
{
    reloadTaskList();
}

void KRTrelkindController::cancelAllJobs()
{
    reloadTaskList();
}

void KRTrelkindController::engineDisconnected(const platform::Notification& notification)
{
    if (SVTaskMachine* machine = notifications::disconnectedEngine(notification))
        for (const auto& task : taskInformation_)
            task->engineGotDisconnected(*machine);
    reloadTaskList();
}

void KRTrelkindController::startLocalTask()
{
    if (engine_)
        return;
    attachLocalEngine();
    static_cast<SVTrelkindEngineLocal&>(*engine_).panel().startButton.requestFocus();
}

void KRTrelkindController::attachLocalEngine()
{
    engine_ = std::make_shared<SVTrelkindEngineLocal>(this);
    addViewForEngine();
}

void KRTrelkindController::startOnRemoteMachine(const std::any& representedObject)
{
    if (startingUpOn_)
        startingUpOn_->orderFront();
    else if (setupMaker())
        startingUpOn_ = setupMaker()(*this, representedObject);
}

void KRTrelkindController::runOnSpecificMachine(const std::any& representedObject)
{
    try {
        if (const auto* target = std::any_cast<RunTarget>(&representedObject); target && target->machine)
            connectMachine(*target->machine, target->name);
    } catch (...) {
        KRMessageCenter::addMessage("Problem", diagnostics::currentException());
    }
}

void KRTrelkindController::endAllTasks()
{
    releaseEngine(&SVTrelkindEngine::disconnect);
}

void KRTrelkindController::releaseEngine(void (SVTrelkindEngine::*how)())
{
    if (!engine_)
        return;
    ((*engine_).*how)();
    toolkit::View* panel = engine_->settingsView();
    if (!panel)
        return;
    if (views_)
        views_->raiseFixedPart(-panel->frame().height);
    panel->removeFromSuperview();
    // The engine's last runs may still be ending. They must not reach a controller that is gone by then.
    std::erase_if(detachedEngines_, [](const auto& engine) { return engine.expired(); });
    detachedEngines_.push_back(engine_);
    // The engine may be the caller, so it is released at the end of the event.
    platform::MainLoop::main().afterThisEvent([engine = std::move(engine_)] {});
}

void KRTrelkindController::stopTask()
{
    waitingToStop_ = true;
    for (const auto& task : taskInformation_) {
        if (task->taskIsFinished())
            continue;
        if (task->hasBeenCommitted())
            task->abortRun();
        else
            task->setShouldBeRun(false);
    }
    reloadTaskList();
}

void KRTrelkindController::clearAbortedTasks()
{
    Tasks aborted;
    std::copy_if(taskInformation_.begin(), taskInformation_.end(), std::back_inserter(aborted),
        [](const auto& task) { return task->taskWasAborted(); });
    clear(aborted);
}

void KRTrelkindController::invalidateSelection()
{
    if (!views_)
        return;
    const auto selected = selectedTasks();
    for (const auto& task : selected)
        task->removeComputedResults();
    reloadTaskList();
    if (SVTaskApplication* app = SVTaskApplication::app())
        app->sendSorvantaChangeNotificationMultiple(selected);
}

void KRTrelkindController::changeAppPanelDidEnd(int returnCode, const std::vector<std::string>& chosenFiles)
{
    if (returnCode != 1 || chosenFiles.empty() || chosenFiles.front().empty())
        return;
    if (wrapper_.executableIsUnreadable) {
        KRMessageCenter::addMessage("Could not read Executable.plist.",
            fmt::format(
                "{}/Executable.plist can't be read and is not overwritten. Repair or remove it first.",
                wrapperName()));
        return;
    }
    const std::string chosen = platform::paths::abbreviatingWithTilde(chosenFiles.front());
    const std::string source = platform::paths::expandingTilde(chosen);
    std::optional<std::string> name = platform::paths::lastComponent(chosen);
    const std::string target = wrapperName() + "/" + *name;
    std::error_code failure;
    // A file that is already in place must not be removed.
    if (!std::filesystem::equivalent(source, target, failure)) {
        if (wrapper_.executable && !files::remove(wrapperName() + "/" + *wrapper_.executable)) {
            KRMessageCenter::addMessage("Could not remove the existing executable.");
            return;
        }
        wrapper_.executable.reset();
        if (!files::copy(source, target)) {
            KRMessageCenter::addMessage("Could not copy in the new executable.");
            name.reset();
        }
    }
    wrapper_.executable = name;
    wrapper_.originalExecutable = chosen;
    if (views_)
        views_->executable.setStringValue(name.value_or(""));
    Value::Dictionary stored{{"OriginalExecutable", chosen}};
    if (name)
        stored["Executable"] = *name;
    std::ignore =
        platform::propertylist::writeAtomically(std::move(stored), wrapperName() + "/Executable.plist");
}

void KRTrelkindController::prepareForUpload()
{
    if (const auto project = xCodeProject())
        UploadPreparation{wrapperName(), *project, executable(), taskInformation_.size()}.run();
}

void KRTrelkindController::xCodeProjectChanged()
{
    if (!views_ || views_->xCodeProjectLocation.stringValue() == xCodeProject().value_or(""))
        return;
    const std::string path = wrapperName() + "/Info.plist";
    if (wrapper_.infoIsUnreadable) {
        KRMessageCenter::addMessage("Could not read Info.plist.",
            fmt::format("{} can't be read and is not overwritten. Repair or remove it first.", path));
        return;
    }
    wrapper_.storedInformation.mutableDictionary()["Project Name"] =
        views_->xCodeProjectLocation.stringValue();
    std::ignore = platform::propertylist::writeAtomically(wrapper_.storedInformation, path);
}

void KRTrelkindController::machinesAddedSubtracted(int senderState)
{
    if (senderState != 0)
        fillEngines();
}

void KRTrelkindController::saveWriteUpIfNeeded()
{
    if (!writeUpChanged_ || !views_)
        return;
    const std::string package = wrapperName() + "/Info.rtfd";
    if (writeUpIsUnreadable_) {
        KRMessageCenter::addMessage("Could not read Info.rtfd.",
            fmt::format("{} can't be read and is not overwritten. Repair or remove it first.", package));
        writeUpChanged_ = false;
        return;
    }
    if (!views_->writeUp.isEditable()) { // Writing would lose part of them.
        writeUpChanged_ = false;
        return;
    }
    std::ignore = files::createDirectory(package);
    // After a failure the notes stay marked as changed, so that the next call tries again.
    writeUpChanged_ =
        !files::writeFileAtomically(package + "/TXT.rtf", RtfText::write(views_->writeUp.text()));
    if (writeUpChanged_)
        KRMessageCenter::addMessage("Could not save the notes.",
            fmt::format("{} can't be written: copy your text before you close the window.", package));
}

bool KRTrelkindController::validateMenuItem(const std::string& action) const
{
    if (action == "runOnSpecificMachine:" || action == "startLocalTask:")
        return !engine_ && !everythingIsFilled_;
    if (action == "prepareForUpload:")
        return wrapper_.storedInformation.find("Project Name") != nullptr;
    if (action == "clearAbortedTasks:")
        return !isRunningTasks()
            && std::any_of(taskInformation_.begin(), taskInformation_.end(),
                [](const auto& task) { return task->taskWasAborted(); });
    if (action == "endAllTasks:")
        return engine_ && !everythingIsFilled_;
    return validateTaskAction(action);
}

bool KRTrelkindController::anyTaskHasBeenCommitted() const
{
    return std::any_of(taskInformation_.begin(), taskInformation_.end(),
        [](const auto& task) { return task->hasBeenCommitted(); });
}

bool KRTrelkindController::windowShouldClose()
{
    saveWriteUpIfNeeded();
    if (anyTaskHasBeenCommitted() || howManyTasksAreRunning_ != 0) {
        KRMessageCenter::addMessage("Can not close the window while a task is running.",
            "Can not close the window while tasks are running.  Stop execution first.");
        if (const auto& alert = toolkit::Workspace::shared().soundAlert)
            alert();
        return false;
    }
    waitingToStop_ = true;
    for (const auto& task : taskInformation_)
        task->removeFromProject();
    const auto self = shared_from_this();
    if (SVTaskApplication* app = SVTaskApplication::app())
        app->removeController(*this);
    disconnectEngines();
    variablePlot_.reset();
    fileText_.reset();
    // The caller may still use the controller and its window during this event.
    platform::MainLoop::main().afterThisEvent(
        [self, views = std::shared_ptr<TrelkindWindow>(std::move(views_))] {});
    platform::NotificationCenter::defaultCenter().post(notifications::kWindowClosed, this);
    return true;
}

void KRTrelkindController::checkIfCanQuit()
{
    if (anyTaskHasBeenCommitted())
        if (SVTaskApplication* app = SVTaskApplication::app())
            app->shouldNotQuit();
}
