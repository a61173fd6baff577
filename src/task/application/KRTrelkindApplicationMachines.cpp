// The machine list of the application object, the menus of its machines, and its table.

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Places.h"
#include "platform/plist/PropertyList.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/single/Notifications.h"
#include "text/RtfText.h"

#include <fmt/format.h>
#include <tuple>
#include <utility>

namespace {

constexpr int kFixedItemsOfRunMenu = 2;

std::string machineListPath()
{
    return platform::Places::library() + "/Machines.plist";
}

} // namespace

void KRTrelkindApplication::awakeFromNib()
{
    const auto stored = platform::propertylist::readFile(machineListPath());
    machineListIsUnreadable_ = !stored || (!stored->isNull() && !stored->array());
    if (machineListIsUnreadable_)
        KRMessageCenter::addMessage("Could not read Machines.plist.",
            stored ? fmt::format("{}: an array was expected at its root.", machineListPath())
                   : stored.error().text);
    machines_.fillFromPropertyList(stored.value_or(platform::Value()));
    machines_.forceViewReset();
    machines_.setAcceptableDragTypes({KRTrelkindMachine::kDragType});

    const auto readHelp = [this](const char* name, toolkit::TextView& view) {
        const auto document =
            platform::files::readFile(fmt::format("{}/{}.rtfd/TXT.rtf", resourceFolder, name));
        const auto help = document ? RtfText::read(*document) : platform::Result<RtfText>(platform::Error{});
        if (help)
            view.setText(help->text);
    };
    readHelp("HelpCreateTask", helpCreateTask);
    readHelp("HelpOverview", helpOverview);
    readHelp("HelpRunningJobs", helpRunningJobs);
    readHelp("HelpSettingMachines", helpSettingMachines);
}

void KRTrelkindApplication::saveMachineInformation()
{
    if (machineListIsIncomplete_)
        return; // The file keeps definitions that this build can't show.
    if (machineListIsUnreadable_) {
        KRMessageCenter::addMessage("Could not save the machine list.",
            fmt::format("{} can't be read and is not overwritten. Repair or remove it and start again.",
                machineListPath()));
        return;
    }
    std::ignore = platform::propertylist::writeAtomically(machines_.propertyList(), machineListPath());
}

void KRTrelkindApplication::updateMachineInformation()
{
    saveMachineInformation();
    updateMenuOfMachines();
}

std::shared_ptr<KRTrelkindMachine> KRTrelkindApplication::makeMachine(const std::string& kind) const
{
    const auto maker = KRTrelkindMachine::kinds().find(kind);
    return maker == KRTrelkindMachine::kinds().end() ? nullptr : maker->second();
}

std::vector<std::shared_ptr<KRTrelkindMachine>> KRTrelkindApplication::remoteMachines()
{
    std::vector<std::shared_ptr<KRTrelkindMachine>> machines;
    for (const auto& entry : machines_.controllers())
        machines.push_back(
            std::static_pointer_cast<KRTrelkindMachine>(entry)); // controllerFor() makes no other type.
    return machines;
}

std::shared_ptr<KRDraggableEntry> KRTrelkindApplication::controllerFor(
    KRDraggableViewsController&, const platform::Value& propertyList)
{
    const std::string kind = propertyList.textFor("Type").value_or(KRTrelkindMachine::kClusterKind);
    if (kind != KRTrelkindMachine::kClusterKind) {
        KRMessageCenter::addMessage("Unkown type");
        return nullptr;
    }
    auto machine = makeMachine(kind);
    if (!machine) {
        machineListIsIncomplete_ = true;
        return nullptr;
    }
    machine->finishConnections();
    machine->close();
    machine->fillFromPropertyList(propertyList);
    return machine;
}

void KRTrelkindApplication::couldNotGetPropertyFrom(const std::string& className)
{
    KRMessageCenter::addMessage(fmt::format("Could not get property from {}", className));
}

void KRTrelkindApplication::addLSFMachine(bool senderIsMenuItem)
{
    auto machine = makeMachine(KRTrelkindMachine::kClusterKind);
    if (!machine)
        return;
    machine->finishConnections();
    if (senderIsMenuItem)
        machineWindow().orderFront();
    machines_.addControllerToEnd(std::move(machine));
    machines_.forceViewReset();
    saveMachineInformation();
}

void KRTrelkindApplication::userActionStartedForDragController(KRDraggableViewsController&)
{
    machinesBefore_ = machines_.controllers();
}

void KRTrelkindApplication::userActionEndedForDragController(KRDraggableViewsController&)
{
    machines_.forceViewReset();
    saveMachineInformation();
    undoManager().registerUndo("Change of the Machines",
        [this, before = std::exchange(machinesBefore_, {})] { machines_.setControllers(before); });
}

void KRTrelkindApplication::createMachineConnection()
{
    platform::NotificationCenter::defaultCenter().post(notifications::kConnectToServer, this);
}

void KRTrelkindApplication::runOnSpecificMachine(const std::any& representedObject)
{
    if (const auto controller = frontController())
        controller->runOnSpecificMachine(representedObject);
}

toolkit::MenuItem KRTrelkindApplication::menuItemForMachine(std::string title, std::any representedObject)
{
    toolkit::MenuItem item;
    item.title = std::move(title);
    item.action = "runOnSpecificMachine:";
    item.representedObject = std::move(representedObject);
    item.perform = [this](
                       const toolkit::MenuItem& sender) { runOnSpecificMachine(sender.representedObject); };
    return item;
}

// Excludes the fixed final item and the separator before it.
bool KRTrelkindApplication::isReusable(int menuIndex) const
{
    return menuIndex < menuEntryWithMachines_.count() - 1
        && !menuEntryWithMachines_.item(menuIndex).isSeparator;
}

void KRTrelkindApplication::updateMenuOfMachines()
{
    toolkit::Menu& menu = menuEntryWithMachines_;
    const auto list = remoteMachines();
    const int count = static_cast<int>(list.size());
    for (int i = 0; i < count; ++i) {
        const auto& machine = list[static_cast<std::size_t>(i)];
        if (isReusable(i)) {
            menu.change(i, [&machine](toolkit::MenuItem& item) {
                item.title = machine->machineDescription();
                item.representedObject = machine;
            });
        } else {
            menu.insert(i, menuItemForMachine(machine->machineDescription(), machine));
        }
    }
    while (isReusable(count))
        menu.remove(count);
    if (menu.count() == count + 1)
        menu.insert(count, toolkit::MenuItem::separator());
}

void KRTrelkindApplication::menuNeedsUpdate(toolkit::Menu& menu)
{
    while (menu.count() > kFixedItemsOfRunMenu)
        menu.remove(menu.count() - 1);
    for (const auto& machine : remoteMachines())
        for (const std::string& queue : machine->queuNames().value_or(std::vector<std::string>()))
            menu.add(menuItemForMachine(fmt::format("{} : {}", machine->machineDescription(), queue),
                KRTrelkindController::RunTarget{machine, queue}));
}

int KRTrelkindApplication::numberOfRowsInTableView(const toolkit::Table&)
{
    return static_cast<int>(machines_.controllers().size());
}

toolkit::CellValue KRTrelkindApplication::objectValueForTableColumn(
    const toolkit::Table&, std::string_view, int row)
{
    const auto index = static_cast<std::size_t>(row);
    const auto list = remoteMachines();
    return row >= 0 && index < list.size() ? toolkit::CellValue(list[index]->machineDescription())
                                           : toolkit::CellValue();
}
