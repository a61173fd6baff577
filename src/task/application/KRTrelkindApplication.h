#pragma once

#include "diagnostics/KRCountLimiter.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/loop/OperationQueue.h"
#include "task/application/KRTrelkindController.h"
#include "task/application/MachineWindow.h"
#include "task/application/ScratchFolder.h"
#include "task/application/SorvantaLink.h"
#include "task/single/SVTaskApplication.h"
#include "toolkit/Controls.h"
#include "toolkit/KRDraggableViewsController.h"
#include "toolkit/Menu.h"
#include "toolkit/Table.h"
#include "toolkit/Window.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The one application object. It prepares the folders that the program needs, keeps the open wrappers and the
// machine list, decides whether the program may quit, and holds the link to the companion. Main thread,
// except for the queues and the count limiter.
class KRTrelkindApplication : public SVTaskApplication,
                              public toolkit::TableDataSource,
                              public KRDraggableViewsDelegate {
public:
    KRTrelkindApplication();
    ~KRTrelkindApplication() override;

    // Null when no application object exists.
    static KRTrelkindApplication* app();
    static std::optional<std::string> md5ChecksumForFile(const std::string& path);
    static SVTaskMachine* localMachine() { return app() ? app()->getLocalMachine() : nullptr; }
    // The engines of the connected task servers. remoteMachines() returns the cluster definitions instead.
    static std::vector<SVTaskMachine*> remoteMachinesOfServers();

    // Reads the machine list and the help documents. Call it after the layout has been loaded.
    void awakeFromNib();

    // Any thread.
    platform::OperationQueue& localMachineQueue() { return localMachineQueue_; }
    platform::OperationQueue& copyingFilesOnLocalMachine() { return localMachineQueueForFileCopy_; }
    const std::shared_ptr<KRCountLimiter>& countLimiter() const override { return countLimiter_; }

    // Opens a wrapper. A path that is already open, compared as a string, brings its window to the front.
    std::shared_ptr<KRTrelkindController> openTaskWithName(const std::string& path);
    // The open panel has ended; the answer 1 means that the user has chosen paths.
    void openTask(int answer, const std::vector<std::string>& chosenPaths);
    bool applicationOpenFile(const std::string& path);
    void removeController(SVTaskController& controller) override;
    // The controller of the frontmost wrapper window, which the menus act on; null when no wrapper is open.
    std::shared_ptr<KRTrelkindController> frontController() const;
    // Whether a menu item with this action is enabled.
    bool validateMenuItem(const std::string& action) const;
    const std::vector<std::shared_ptr<KRTrelkindController>>& listOfControllers() const
    {
        return listOfControllers_;
    }

    std::function<void()> whenWrappersChange; // After a wrapper was opened or closed.

    // Whether the program may end now.
    bool applicationShouldTerminate();
    void applicationWillTerminate();
    void applicationDidBecomeActive() { tryToConnectToSorvanta(); }
    void applicationDidResignActive() { tryToConnectToSorvanta(); }
    void shouldNotQuit() override;

    // The machine list.
    std::vector<std::shared_ptr<KRTrelkindMachine>> remoteMachines() override;
    bool goesOnWithBatches() const override { return goesOnWithBatches_; }
    void setGoesOnWithBatches(bool goesOn) { goesOnWithBatches_ = goesOn; } // For those that only look.
    KRDraggableViewsController& machines() { return machines_; }
    void saveMachineInformation();
    void updateMachineInformation();
    void updateMenuOfMachines();
    void menuNeedsUpdate(toolkit::Menu& menu);
    bool menuHasKeyEquivalent() const { return false; }
    void addLSFMachine(bool senderIsMenuItem);
    std::shared_ptr<KRDraggableEntry> controllerFor(
        KRDraggableViewsController& list, const platform::Value& propertyList) override;
    void couldNotGetPropertyFrom(const std::string& className) override;
    void userActionStartedForDragController(KRDraggableViewsController&) override;
    void userActionEndedForDragController(KRDraggableViewsController&) override;
    void createMachineConnection();
    toolkit::Menu& menuEntryWithMachines() { return menuEntryWithMachines_; }
    toolkit::Table& machineTable() { return machineTable_; }
    toolkit::Window& machineWindow() { return machineWindow_.window; }
    toolkit::UndoManager& undoManager() { return machineWindow().undoManager(); }

    void sendSorvantaChangeNotification(SVSingleTask& task) override;
    void sendSorvantaChangeNotificationMultiple(
        const std::vector<std::shared_ptr<SVSingleTask>>& tasks) override;
    void tryToConnectToSorvanta() { sorvanta_.tryToConnectToSorvanta(); }
    SorvantaLink& sorvanta() { return sorvanta_; }

    int numberOfRowsInTableView(const toolkit::Table&) override;
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override;

    // The folder of the help documents. Change it before awakeFromNib().
    std::string resourceFolder = platform::Places::resources();
    toolkit::TextView helpCreateTask;
    toolkit::TextView helpOverview;
    toolkit::TextView helpRunningJobs;
    toolkit::TextView helpSettingMachines;

private:
    SVTaskMachine* getLocalMachine() const { return nullptr; }
    void reloadTable() { machineTable_.reloadData(); }
    std::shared_ptr<KRTrelkindMachine> makeMachine(const std::string& kind) const;
    toolkit::MenuItem menuItemForMachine(std::string title, std::any representedObject);
    void runOnSpecificMachine(const std::any& representedObject);
    bool isReusable(int menuIndex) const;

    ScratchFolder scratch_;
    std::vector<std::shared_ptr<KRTrelkindController>> listOfControllers_;
    // The fixed last item lets the user add a machine; the items of the machines come before it.
    toolkit::Menu menuEntryWithMachines_;
    toolkit::Table machineTable_;
    toolkit::TextField machineName_; // Part of the layout; nothing reads it.
    std::vector<std::shared_ptr<SVMachineDefinition>> machineControllers_; // Nothing adds to it yet.
    KRDraggableViewsController machines_;
    MachineWindow machineWindow_;
    std::vector<std::shared_ptr<KRDraggableEntry>> machinesBefore_; // While the user changes the list.
    KRDraggableViewsController* machineDefinitions_ = nullptr; // Part of the layout; nothing reads it.
    bool machineListIsUnreadable_ = false;
    bool machineListIsIncomplete_ = false;
    bool isOkToTerminate_ = true;
    bool goesOnWithBatches_ = true;
    std::shared_ptr<KRCountLimiter> countLimiter_ = std::make_shared<KRCountLimiter>();
    SorvantaLink sorvanta_;
    std::unique_ptr<platform::Timer> reloadTableTimer_;
    std::unique_ptr<platform::NotificationCenter::Observation> reloadObservation_;
    // Destroyed first: an operation that ends meanwhile still finds the other members.
    platform::OperationQueue localMachineQueue_;
    platform::OperationQueue localMachineQueueForFileCopy_;
};
