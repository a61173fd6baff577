#pragma once

#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"
#include "platform/plist/Value.h"
#include "platform/process/Process.h"
#include "task/runs/RunTimes.h"
#include "task/runs/SVLocalTask.h"
#include "task/single/KRRemoteOutputTask.h"
#include "task/single/SVFileContent.h"
#include "task/single/SVTaskController.h"
#include "task/single/SVTaskMachine.h"
#include "text/files/KRBigTextFile.h"
#include "toolkit/Menu.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// One run of a batch: a numbered folder of the wrapper and its input set. The state of the run is read from
// marker files in the folder and survives a restart. The state that engines report is kept in memory only.
//
// Main thread, except for shouldAbort() and removeComputedResults(), which workers call too.
class SVSingleTask : public std::enable_shared_from_this<SVSingleTask>, public SVLocalTaskParent {
public:
    enum AbortStatus { NoAbort = 0, RetryTransfer = 1, Abort = 2 };

    // Null for a null project. Borrows the project until removeFromProject(). Reads the markers at once.
    static std::shared_ptr<SVSingleTask> createInsideProject(
        SVTaskController* project, int sequenceNumber, const platform::Value& information);
    ~SVSingleTask() override;

    double timeValue() const { return timeValue_; }
    std::string argument() const { return argumentFlag_.value_or(""); }
    bool taskShouldBeRun() const { return !taskHasStarted_; }
    bool taskHasStarted() const { return taskHasStarted_; }
    bool taskHasFinished() const { return taskHasFinished_; }
    bool taskIsFinished() const { return taskHasFinished_; }
    // By the markers: started, and neither finished nor aborted.
    bool isUnderWay() const { return taskHasStarted_ && !taskHasFinished_ && !taskWasAborted_; }
    bool taskWasAborted() const { return taskWasAborted_; }
    double taskFraction() const { return taskFraction_; } // 0 to 100.
    const RunTimes& times() const { return times_; }
    // The exit status of a completed run; nothing when none was recorded.
    const std::optional<RunExit>& exitStatus() const { return exitStatus_; }
    bool hasFailed() const { return exitStatus_ && exitStatus_->isFailure(); }
    bool shouldBeRun() const { return shouldBeRun_; }
    bool beingChecked() const { return beingChecked_; }
    bool isRunning() const { return currentlyRunning_; }
    bool shouldContinuouslyUpdateOutput() const { return currentlyRunning_; }
    SVTaskController* controller() const { return insideProject_; }
    int numberInProject() const { return numberInProject_; }
    SVTaskMachine* runningOn() const { return runningOn_; }
    const std::string& folderName() const { return folderName_; } // Stays valid after the controller is gone.
    std::optional<std::string> entryDescription() const { return description_; }
    void setDescription(std::optional<std::string> text) { description_ = std::move(text); }
    std::string description() const; // For logs.
    std::optional<std::int64_t> serialNumberInsideEngine() const { return serialNumber_; }
    void setSerialNumber(std::int64_t number) { serialNumber_ = number; }
    std::string statusString() const;

    bool waitingToBeSubmitted() const;
    bool isEmpty() const { return !hasBeenCommitted(); }
    bool hasBeenCommitted() const;
    bool canSubmitTo(const SVTaskMachine& machine) const;
    bool shouldAbort() const { return abortStatus_ != NoAbort; }
    bool copyShouldBeRetried() const { return abortStatus_ == RetryTransfer; }
    bool taskShouldBeAborted() const { return abortStatus_ == Abort; }

    // Files of the run. The results are cached until the state on disk changes.
    const std::vector<std::string>& fileList();
    std::optional<platform::FileAttributes> informationForFile(const std::string& name);
    // The variables of a data file. Once read, a file is only updated after a change of the state on disk.
    // Null for what is no data file.
    std::shared_ptr<SVFileContent> contentForFile(const std::string& name);
    // Drops the readings that haven't ended, but for one file.
    void dropReadingsExceptOf(const std::optional<std::string>& name);
    void updateBasedOnContent();
    // Lets the list of files and what is in them be read again.
    void forgetFiles();
    // Removes everything but the inputs, including the markers.
    void clearData();
    // Removes everything but the inputs when the folder has more than one entry. The flags stay unchanged.
    void removeComputedResults();

    // Called by engines and machines.
    void setShouldBeRun(bool should);
    void submittedToWaitingQueOn(SVTaskMachine& machine);
    void transferringInput();
    void failedAtTransferringOn(SVTaskMachine& machine);
    void startedOn(SVTaskMachine& machine);
    void transferringOutput();
    void finishedOn(SVTaskMachine& machine);
    void engineGotDisconnected(SVTaskMachine& machine);
    void aborted();
    void startedJob(SVLocalTask& operation) override;
    void endedJob(SVLocalTask& operation) override;
    void startedARemoteCheck() { beingChecked_ = true; }
    void endedARemoteCheck() { beingChecked_ = false; }
    void listenToRemoteOutput() { }
    void setNumberOfOutputLines(int count);

    // Aborting and retrying.
    void abortJob();
    void abortRun();
    void retrySCP() { abortStatus_ = RetryTransfer; }
    void abortSCP() { abortStatus_ = Abort; }
    int abortStatus() const { return abortStatus_; }
    void setAbortStatus(int status) { abortStatus_ = status; }
    void setSCPTask(std::shared_ptr<platform::Process> process) { scpTask_ = std::move(process); }
    void stoppedSCPTask(const std::shared_ptr<platform::Process>& process);
    void terminateSCPTask();

    // The display of the output.
    void selectedInView(toolkit::Table* table);
    void deselectFromView();
    void updateStandardOutView();
    void updateOutput();
    std::shared_ptr<toolkit::Menu> contextMenu();

    // Called when the controller goes away.
    void removeFromProject();

    // An operation of the older generation for this run; null without a controller.
    std::shared_ptr<SVLocalTask> createTask();

private:
    SVSingleTask(SVTaskController& project, int number, const platform::Value& information);

    bool readMarkers();
    void removeAllButInputs(const std::vector<std::string>& entries) const;
    std::string pathOf(const std::string& name) const { return folderName() + "/" + name; }
    void reloadTaskList();
    void sendChangeNotification();
    toolkit::Table* outputTable() const;
    void startOutputTimerIfNeeded();
    void connectOutputFile(toolkit::Table* table);
    void leaveEngines();
    toolkit::MenuItem menuItem(const char* title, const char* action, void (SVSingleTask::*perform)());

    SVTaskController* insideProject_;
    int numberInProject_;
    std::string folderName_;
    double timeValue_ = 0;
    std::optional<std::string> argumentFlag_;
    std::optional<std::vector<std::string>> cachedFileList_;
    std::map<std::string, platform::FileAttributes> cachedFileInformation_;
    struct CachedContent {
        std::shared_ptr<SVFileContent> content;
        bool isStale = false; // The state on disk has changed since.
    };
    std::map<std::string, CachedContent> contentCache_;
    bool taskHasStarted_ = false;
    bool taskHasFinished_ = false;
    bool taskWasAborted_ = false;
    double taskFraction_ = 0;
    RunTimes times_;
    std::optional<RunExit> exitStatus_;
    bool currentlyRunning_ = false;
    std::optional<std::int64_t> serialNumber_;
    std::optional<std::string> description_;
    // Nothing sets these two or the field taskIsFinished_ at present: they are for an engine that reports the
    // end of a run itself. Today the end is read from the markers, and the rules that test the fields never
    // apply.
    std::optional<std::string> machineItRanOn_;
    std::optional<std::string> temporaryOutput_;
    bool singleTaskSelectedInView_ = false;
    std::shared_ptr<KRRemoteOutputTask> remoteOutput_;
    KRBigTextFile outputFile_;
    bool shouldBeRun_ = false;
    bool beingChecked_ = false;
    bool submittedToWaitQue_ = false;
    bool transferringInput_ = false;
    SVTaskMachine* waitingOn_ = nullptr;
    SVTaskMachine* runningOn_ = nullptr;
    bool transferringOutput_ = false;
    bool taskIsFinished_ = false;
    std::atomic<int> abortStatus_ = NoAbort; // Read by a worker.
    std::shared_ptr<platform::Process> scpTask_;
    std::unique_ptr<platform::Timer> timerWaitingToStrike_;
    std::optional<std::set<std::string>> blackList_;
};
