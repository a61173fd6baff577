#pragma once

#include "platform/Result.h"
#include "platform/files/FolderLock.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/OperationQueue.h"
#include "task/engine/SVTrelkindEngine.h"
#include "task/runs/SVLocalTaskOperation.h"
#include "toolkit/Controls.h"

#include <memory>
#include <optional>
#include <set>

class SVSingleTask;

// The tasks of a wrapper to run, and how to run them.
struct RunChoice {
    std::optional<std::set<int>> tasks; // By numberInProject(); nothing for all.
    bool haltsAtFailure = false; // Start no more tasks after a program has failed.
};

// Runs the tasks of a wrapper on this machine, a limited number at a time, each in an operation of its own
// queue. It stays attached until all tasks are finished or the user ends them. Main thread.
class SVTrelkindEngineLocal : public SVTrelkindEngine, public SVLocalTaskOperationParent {
public:
    // The engine's panel.
    struct LocalAddition {
        toolkit::Stack view{toolkit::Direction::Across};
        toolkit::Button startButton;
        toolkit::Button endButton;
        toolkit::TextField concurrency;
        LocalAddition();
    };

    explicit SVTrelkindEngineLocal(SVTaskController* withTask);
    ~SVTrelkindEngineLocal() override;

    // The runs of all engines of this process: also of those whose window has closed.
    struct Work {
        int running = 0;
        int waiting = 0;
    };
    static Work allWork();
    // Drops the runs that have not begun; those that have begun need this process no more.
    static void dropAllWaiting();
    static void endAllWork(); // As the user ends the tasks of each engine. The runs end later.

    toolkit::View* settingsView() override { return &panel_.view; }
    bool isRunning() override { return operations_.operationCount() != 0; }
    bool isAtWork(int taskNumber) const override;
    void disconnect() override;
    void disconnectFromTaskController() override;

    // Starts the chosen tasks that have not been started before. First it takes the lock of the wrapper and
    // runs the checks that are the same for every front end. Returns the number of started tasks, or a
    // sentence when none can be started.
    platform::Result<int> startAfterChecks(RunChoice choice = {});

    // The same, reporting what keeps tasks from being started as a message. The start button does this.
    void startAndReport(RunChoice choice = {});

    // User actions of the panel.
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
    bool isToBeStarted(const SVSingleTask& task) const;
    std::shared_ptr<SVSingleTask> taskWithNumber(int number) const;
    bool allTasksAreFinished() const;
    void tellOfTheEnd() const;

    LocalAddition panel_;
    std::unique_ptr<platform::Timer> checkPeriodically_;
    std::unique_ptr<platform::Timer> looks_; // Re-reads running tasks, from startAfterChecks() to the end.
    platform::OperationQueue operations_;
    RunChoice choice_;
    std::shared_ptr<platform::FolderLock> lock_; // Held from a start to the end of the last run.
    bool running_ = false; // Set by the first start, never cleared, never read.
    bool isAttached_ = true; // Cleared when the controller drops the engine; its runs may end later.
    std::set<int> whichTasksAreRunning_;
};
