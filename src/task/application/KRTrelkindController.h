#pragma once

#include "platform/loop/NotificationCenter.h"
#include "task/application/FileText.h"
#include "task/application/TaskRows.h"
#include "task/application/TrelkindWindow.h"
#include "task/application/VariablePlot.h"
#include "task/engine/SVTrelkindEngine.h"
#include "task/single/KRTrelkindMachine.h"
#include "task/single/SVSingleTask.h"
#include "task/single/SVTaskController.h"
#include "task/wrapper/TaskWrapper.h"
#include "toolkit/Menu.h"
#include "toolkit/Table.h"

#include <any>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The controller of one open wrapper and its window. It owns the tasks, holds at most one engine, is the data
// source of the window's tables, and carries out the user's actions. Main thread.
//
// The views are destroyed after the window has closed; later calls from engines and tasks do nothing.
class KRTrelkindController : public SVTaskController,
                             public toolkit::TableDataSource,
                             public toolkit::TableDelegate,
                             public std::enable_shared_from_this<KRTrelkindController> {
public:
    // Reads the wrapper, makes the window, reconnects to the machine that the wrapper is bound to, and brings
    // the window to the front. A wrapper with missing files opens without them.
    static std::shared_ptr<KRTrelkindController> createFromWrapperName(const std::string& path);
    ~KRTrelkindController() override;

    const std::string& wrapperName() const override { return wrapper_.wrapperName; }
    std::int64_t serialNumber() const override { return serialNumber_; }
    const std::vector<std::shared_ptr<SVSingleTask>>& taskInformation() const override
    {
        return taskInformation_;
    }
    const std::optional<std::string>& executable() const override { return wrapper_.executable; }
    const std::optional<std::string>& executableMD5() const override { return wrapper_.executableMD5; }
    const std::optional<std::vector<std::string>>& inputFiles() const override { return wrapper_.inputFiles; }
    bool inputFilesAreUnknown() const override { return wrapper_.inputFilesAreUnknown; }
    std::optional<std::string> xCodeProject() const override;
    // Whether Info.plist can't be read, so that the task list is incomplete.
    bool informationIsUnreadable() const { return wrapper_.infoIsUnreadable; }
    std::string arguments() const override { return {}; }
    toolkit::Table* outputTable() const override;
    toolkit::Window* window() const;
    TrelkindWindow* views() { return views_.get(); } // Null once the window has closed.
    SVTrelkindEngine* engine() const { return engine_.get(); }
    std::shared_ptr<toolkit::Menu> contextMenuForRow(int row) const; // Null for a row outside of the table.

    // Called by engines and tasks.
    bool isStillEnding(const SVSingleTask& task) const override;
    std::shared_ptr<platform::FolderLock> lockForRunning() override;
    bool isRunningHere() const override { return !lockForRunning_.expired(); }
    void changeInTask(SVSingleTask& task) override;
    void changeInContentOf(SVSingleTask& task) override;
    void reloadTaskList() override;
    void startedComputingTask(SVSingleTask& task, SVTaskMachine* withEngine) override;
    void finishedTask(SVSingleTask& task, SVTaskMachine* withEngine) override;
    void changeRunningStatus(
        SVSingleTask& task, const std::string& toString, SVTaskMachine* withEngine) override;
    // Reserved for a scheduler that assigns tasks to machines.
    void putTaskBackIntoQue(SVSingleTask&) override { }
    void fillEngines() override { }
    void cancelAllJobs() override;
    void engineDisconnected(const platform::Notification& notification);

    // User actions.
    void startLocalTask();
    void startOnRemoteMachine(const std::any& representedObject);
    void runOnSpecificMachine(const std::any& representedObject);
    void endAllTasks() override;
    void stopTask();
    void clearAbortedTasks();
    void invalidateSelection();
    // Shows the tasks in this state. The text of the field "With text" still counts.
    void showTasks(ShownTasks which);
    ShownTasks shownTasks() const;
    // Clears the tasks that were run before, and runs them on this computer. The user is asked first when
    // results would be lost. While tasks run here, or the wrapper is bound to another machine, nothing
    // happens.
    void runSelectedAgain();
    void runFailedAndAbortedAgain();
    void clearSelected();
    void openRunFolder(); // Of the last selected task, as the next one.
    void openInTerminal();
    void copySelection();
    void reload(); // Reads the state and the files of the tasks again, a part in each turn of the main loop.
    void runSelectionNext() { }
    void terminateSelection() { }
    // The path at which the panel for a new executable opens, if there is one.
    std::optional<std::string> changeExecutable() const { return wrapper_.originalExecutable; }
    // The panel has ended; the return code 1 means that the user has chosen files.
    void changeAppPanelDidEnd(int returnCode, const std::vector<std::string>& chosenFiles);
    void prepareForUpload();
    void xCodeProjectChanged();
    void changeXcodeProject() { }
    void machinesAddedSubtracted(int senderState);
    void fillEnginesAgain() { }
    void textDidChange() { writeUpChanged_ = true; }
    void textDidEndEditing() { saveWriteUpIfNeeded(); }
    void willSelectTabViewItem() { saveWriteUpIfNeeded(); }
    // The actions on selected tasks, for every menu that offers them. A null title is a separator.
    struct TaskAction {
        const char* title;
        const char* action;
        const char* key;
        void (KRTrelkindController::*perform)();
    };
    static const std::vector<TaskAction>& taskActions();
    bool validateMenuItem(const std::string& action) const;
    bool windowShouldClose();
    void checkIfCanQuit();
    void readInStandardOut();

    void connectMachine(KRTrelkindMachine& machine, const std::string& queue);
    // Makes the engine of the machine that the wrapper has a batch on, anew when there is one.
    void goOnWithBatch();

    // The represented object of a menu item: its "Machine" and "Name".
    struct RunTarget {
        std::shared_ptr<KRTrelkindMachine> machine;
        std::string name;
    };
    // Makes the window that sets up a run on a cluster machine.
    using SetupMaker = std::function<std::shared_ptr<toolkit::Window>(
        KRTrelkindController& newForTask, const std::any& forMachine)>;
    static SetupMaker& setupMaker();

    int numberOfRowsInTableView(const toolkit::Table&) override;
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override;
    void tableViewSelectionDidChange(toolkit::Table&) override;
    void willDisplayCell(
        toolkit::Table&, toolkit::CellStyle& style, std::string_view column, int row) override;
    std::shared_ptr<toolkit::Menu> contextMenuForTableRow(toolkit::Table&, int row) override;

private:
    explicit KRTrelkindController(const std::string& initWithWrapperName);
    void observeNotifications();
    void makeTasks();
    void loadWindow();
    void insertTextIntoFields();
    void readWriteUp();
    void finishWindowSetup();
    void attachLocalEngine();
    void addViewForEngine();
    void releaseEngine(void (SVTrelkindEngine::*how)());
    void saveWriteUpIfNeeded();
    bool anyTaskHasBeenCommitted() const;
    void disconnectEngines();

    TaskRows::Choice taskChoice() const; // While there are views.
    void orderTasksSoon();
    void orderTasks();
    void selectionOfTasksChanged();
    using Tasks = TaskRows::Tasks;
    void afterQuestion(const Tasks& tasks, void (KRTrelkindController::*action)(const Tasks&));
    void runAgain(const Tasks& tasks);
    void clear(const Tasks& tasks);
    void reloadFrom(std::size_t first);
    bool canRunHere() const;
    bool isRunningTasks() const { return engine_ && engine_->isRunning(); }
    bool validateTaskAction(const std::string& action) const;
    std::shared_ptr<toolkit::Menu> menuForTask(int row);
    std::shared_ptr<toolkit::Menu> menuForFile(int row) const;
    std::shared_ptr<SVSingleTask> taskForRow(int row) const;
    std::shared_ptr<SVSingleTask> selectedTask() const;
    std::optional<std::string> selectedFile() const;
    std::shared_ptr<SVFileContent> selectedContent() const; // Null for what is no data file.
    toolkit::CellValue taskCell(std::string_view column, int row) const;
    toolkit::CellValue fileCell(std::string_view column, int row) const;
    toolkit::CellValue dataFileCell(std::string_view column, int row) const;
    void showOutputOfSelection();
    void reloadFileTables();
    void showSelectedFile();
    void reloadVariables();
    void followSelectedContent();
    Tasks selectedTasks() const; // In the order of the tasks.
    void selectVariable();
    void keepVariableSelected();
    void plotVariable();

    std::unique_ptr<TrelkindWindow> views_;
    std::unique_ptr<VariablePlot> variablePlot_; // While there are views.
    std::unique_ptr<FileText> fileText_; // While there are views.
    std::string plottedVariable_; // Empty without one; kept from file to file.
    TaskWrapper wrapper_;
    std::int64_t serialNumber_;
    std::shared_ptr<SVTrelkindEngine> engine_;
    std::vector<std::weak_ptr<SVTrelkindEngine>> detachedEngines_; // Their last runs may still be ending.
    std::weak_ptr<platform::FolderLock> lockForRunning_; // Owned by the engines.
    bool everythingIsFilled_ = false; // Always false; it gates menu items.
    std::vector<std::shared_ptr<SVSingleTask>> taskInformation_;
    TaskRows rows_; // Of the task table.
    bool isOrdering_ = false; // The rows move, and the selection follows.
    std::unique_ptr<platform::Timer> orderTimer_; // Valid while changed tasks wait to be sorted in.
    int howManyTasksAreFinished_ = 0;
    int howManyTasksAreRunning_ = 0;
    int howManyTasksAreWaiting_ = 0;
    bool waitingToStop_ = false;
    // Reserved for a scheduler that assigns tasks to machines.
    SVTaskMachine* localMachine_ = nullptr;
    std::unique_ptr<platform::Timer> standardOutTimer_;
    std::unique_ptr<platform::Timer> contentTimer_; // While a data file is selected.
    std::vector<std::shared_ptr<SVSingleTask>> pendingJobs_;
    bool writeUpChanged_ = false;
    bool writeUpIsUnreadable_ = false; // Notes that can't be read must not be overwritten.
    std::shared_ptr<toolkit::Window> startingUpOn_;
    std::vector<std::unique_ptr<platform::NotificationCenter::Observation>> observations_;
};
