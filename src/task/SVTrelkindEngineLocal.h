#pragma once

#include "platform/Result.h"
#include "platform/files/FolderLock.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/OperationQueue.h"
#include "task/SVLocalTaskOperation.h"
#include "task/SVTrelkindEngine.h"
#include "toolkit/Controls.h"

#include <memory>
#include <optional>
#include <set>

class SVSingleTask;

// Which tasks of a wrapper are to be run, and how.
struct RunChoice {
    std::optional<std::set<int>> tasks; // By numberInProject(); nothing for all.
    bool haltsAtFailure = false; // Starts no others once a program has ended with a failure.
};

// Runs the tasks of a wrapper on this machine, a limited number at a time, each through an operation of its
// own queue. It lives from the start of local running until all tasks are finished or the user ends them.
// Main thread.
class SVTrelkindEngineLocal : public SVTrelkindEngine, public SVLocalTaskOperationParent {
public:
    // The panel.
    struct LocalAddition {
        toolkit::Stack view{toolkit::Direction::Across};
        toolkit::Button startButton;
        toolkit::Button endButton;
        toolkit::TextField concurrency;
        LocalAddition();
    };

    explicit SVTrelkindEngineLocal(SVTaskController* withTask);

    toolkit::View* settingsView() override { return &panel_.view; }
    bool isRunning() override { return operations_.operationCount() != 0; }
    bool isAtWork(int taskNumber) const override;
    void disconnect() override;
    void disconnectFromTaskController() override;

    // Starts the tasks that were not started before, after everything that every front end looks at first:
    // that nobody else runs them, that they can be run. The number of those that were started; a sentence
    // when none can be.
    platform::Result<int> startAfterChecks(RunChoice choice = {});

    // User actions of the panel. Its start button does the above and reports what keeps the tasks from
    // running.
    void startTasks();
    void endTasks();
    void changeConcurrency(const toolkit::TextField& control);

    void checkTimerStruck();
    void updateStatus() override;
    void startedJob(SVLocalTaskOperation& operation) override;
    void endedJob(SVLocalTaskOperation& operation) override;

    LocalAddition& panel() { return panel_; }
    int concurrency() const { return operations_.maxConcurrentOperationCount(); }
    const std::set<int>& whichTasksAreRunning() const { return whichTasksAreRunning_; }
    bool supervises() const { return checkPeriodically_ != nullptr; }

private:
    void pressedStart();
    bool isToBeStarted(const SVSingleTask& task) const;
    std::shared_ptr<SVSingleTask> taskWithNumber(int number) const;
    bool allTasksAreFinished() const;

    LocalAddition panel_;
    std::unique_ptr<platform::Timer> checkPeriodically_;
    std::unique_ptr<platform::Timer> looks_; // From startAfterChecks() until the last run has ended.
    platform::OperationQueue operations_;
    RunChoice choice_;
    std::shared_ptr<platform::FolderLock> lock_; // From a start until the last run has ended.
    bool running_ = false; // Set by the first start for good.
    bool isAttached_ = true; // Until the controller drops it; its runs may end later.
    std::set<int> whichTasksAreRunning_;
};
