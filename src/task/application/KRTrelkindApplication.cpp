#include "task/application/KRTrelkindApplication.h"

#include "diagnostics/KRMessageCenter.h"
#include "diagnostics/KRSerialNumber.h"
#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/Places.h"
#include "task/single/Notifications.h"
#include "task/wrapper/TaskWrapper.h"
#include "toolkit/Workspace.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace {

namespace files = platform::files;

constexpr double kSecondsBetweenTableReloads = 30.0;

toolkit::MenuItem fixedFinalItem()
{
    toolkit::MenuItem item;
    item.title = "Add Machine";
    item.action = "addLSFMachine:";
    return item;
}

// The scratch folder is made before the other members, and the folder of per-user data before it.
std::string scratchAfterLibrary()
{
    std::ignore = files::createDirectories(platform::Places::library());
    return platform::Places::scratch();
}

} // namespace

KRTrelkindApplication::KRTrelkindApplication()
    : scratch_(scratchAfterLibrary()), machines_(*this), machineWindow_(machines_),
      sorvanta_([this] { reloadTable(); }), localMachineQueue_(platform::processorCount())
{
    KRSerialNumber::configure();
    toolkit::MenuItem last = fixedFinalItem();
    last.perform = [this](const toolkit::MenuItem&) { addLSFMachine(true); };
    menuEntryWithMachines_.add(std::move(last));
    machineWindow_.add.whenPressed = [this] { addLSFMachine(false); };
    machineTable_.setDataSource(this);
    reloadObservation_ = platform::NotificationCenter::defaultCenter().observe(
        notifications::kReloadMachineList, [this](const auto&) { reloadTable(); });
    tryToConnectToSorvanta();
    reloadTableTimer_ = platform::Timer::schedule(
        kSecondsBetweenTableReloads, platform::Timer::Repeats::Yes, [this] { reloadTable(); });
}

KRTrelkindApplication::~KRTrelkindApplication()
{
    machineTable_.setDataSource(nullptr);
    // The controllers' tasks and engines call this object until they are destroyed.
    listOfControllers_.clear();
}

KRTrelkindApplication* KRTrelkindApplication::app()
{
    return dynamic_cast<KRTrelkindApplication*>(SVTaskApplication::app());
}

std::optional<std::string> KRTrelkindApplication::md5ChecksumForFile(const std::string& path)
{
    return ::md5ChecksumForFile(path);
}

std::vector<SVTaskMachine*> KRTrelkindApplication::remoteMachinesOfServers()
{
    std::vector<SVTaskMachine*> engines;
    if (KRTrelkindApplication* application = app())
        for (const auto& definition : application->machineControllers_)
            if (SVTaskMachine* engine = definition->engineController(); engine && definition->isConnected())
                engines.push_back(engine);
    return engines;
}

std::shared_ptr<KRTrelkindController> KRTrelkindApplication::openTaskWithName(const std::string& path)
{
    toolkit::Workspace::shared().noteRecentDocument(path);
    const auto open = std::find_if(listOfControllers_.begin(), listOfControllers_.end(),
        [&path](const auto& controller) { return controller->wrapperName() == path; });
    if (open != listOfControllers_.end()) {
        (*open)->window()->orderFront();
        return *open;
    }
    const auto opened = listOfControllers_.emplace_back(KRTrelkindController::createFromWrapperName(path));
    if (whenWrappersChange)
        whenWrappersChange();
    return opened;
}

std::shared_ptr<KRTrelkindController> KRTrelkindApplication::frontController() const
{
    for (const toolkit::Window* window : toolkit::ShownWindows::shared().frontToBack())
        for (const auto& controller : listOfControllers_)
            if (controller->window() == window)
                return controller;
    return listOfControllers_.empty() ? nullptr : listOfControllers_.back();
}

bool KRTrelkindApplication::validateMenuItem(const std::string& action) const
{
    if (action == "addLSFMachine:")
        return KRTrelkindMachine::kinds().contains(KRTrelkindMachine::kClusterKind);
    const auto controller = frontController();
    return controller && controller->validateMenuItem(action);
}

void KRTrelkindApplication::openTask(int answer, const std::vector<std::string>& chosenPaths)
{
    if (answer == 1)
        for (const std::string& path : chosenPaths)
            openTaskWithName(path);
}

bool KRTrelkindApplication::applicationOpenFile(const std::string& path)
{
    openTaskWithName(path);
    return true;
}

void KRTrelkindApplication::removeController(SVTaskController& controller)
{
    for (const auto& definition : machineControllers_)
        definition->removeControllerNumber(controller.serialNumber());
    std::erase_if(
        listOfControllers_, [&controller](const auto& listed) { return listed.get() == &controller; });
    if (whenWrappersChange)
        whenWrappersChange();
}

bool KRTrelkindApplication::applicationShouldTerminate()
{
    isOkToTerminate_ = true;
    platform::NotificationCenter::defaultCenter().post(notifications::kCallMeIfYouDontWantToQuit, this);
    return isOkToTerminate_;
}

void KRTrelkindApplication::applicationWillTerminate()
{
    for (const auto& definition : machineControllers_)
        definition->disconnectEngineFromServer();
}

void KRTrelkindApplication::shouldNotQuit()
{
    // Any number of objections gives a single message.
    if (!std::exchange(isOkToTerminate_, false))
        return;
    if (const auto& alert = toolkit::Workspace::shared().soundAlert)
        alert();
    KRMessageCenter::addMessage("Can not quit while tasks are running.");
}

void KRTrelkindApplication::sendSorvantaChangeNotification(SVSingleTask& task)
{
    if (const SVTaskController* controller = task.controller())
        sorvanta_.add(controller->wrapperName(), task.numberInProject());
    if (sorvanta_.isConnected())
        sorvanta_.trySendingNow(SorvantaLink::Sender::Application);
}

void KRTrelkindApplication::sendSorvantaChangeNotificationMultiple(
    const std::vector<std::shared_ptr<SVSingleTask>>& tasks)
{
    for (const auto& task : tasks)
        if (const SVTaskController* controller = task->controller())
            sorvanta_.add(controller->wrapperName(), task->numberInProject());
    if (sorvanta_.isConnected())
        sorvanta_.trySendingNow(SorvantaLink::Sender::Application);
}
