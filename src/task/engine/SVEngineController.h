#pragma once

#include "diagnostics/KRComputationalThread.h"
#include "task/single/SVSingleTask.h"
#include "task/single/SVTaskMachine.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

// A machine of the older generation: a queue of single tasks with a limit of how many run together. This
// class is this computer; task servers derive from it. Nothing assigns tasks to machines at present, so this
// path is ready but unused. Main thread, except for runASingleTask().
class SVEngineController : public SVTaskMachine,
                           public KRMessageCenterOwner,
                           public std::enable_shared_from_this<SVEngineController> {
public:
    static const std::shared_ptr<SVEngineController>& localMachine();
    // The machine of a task server by its name; null without a maker and for an empty name.
    static std::shared_ptr<SVEngineController> remoteMachine(const std::string& name);
    using RemoteMaker = std::function<std::shared_ptr<SVEngineController>(const std::string& name)>;
    static RemoteMaker& remoteMaker();

    bool isLocal() const override { return true; }
    std::optional<std::string> machineName() const override { return "This Computer"; }

    int maxTaskNumber() const { return maxTaskNumber_; }
    // Ignores a limit below 1. Starts one more task when fewer run than the new limit allows.
    void setMaxTaskNumber(int limit);
    void setHowManyConcurrentTasks(int limit) { setMaxTaskNumber(limit); }

    virtual void addTask(const std::shared_ptr<SVSingleTask>& task);
    void startTask();
    // Runs a task's program on a worker thread, within the limit of the application's count limiter, and
    // returns the task. Reads the controller on the main thread, which owns it.
    std::shared_ptr<SVSingleTask> runASingleTask(std::shared_ptr<SVSingleTask> task);
    void finishedRunningTask(std::shared_ptr<SVSingleTask> task);
    // Removes a task that is still waiting.
    void abortJob(SVSingleTask& task) override;
    bool removeTask(SVSingleTask&, const SVTaskController*) { return false; }

    int numberOfTotalTasksWaiting() const { return static_cast<int>(tasksWaiting_.size()); }
    std::vector<std::shared_ptr<SVSingleTask>> currentTasksForOwner(const SVTaskController*) const
    {
        return {};
    }
    std::vector<std::shared_ptr<SVSingleTask>> currentTasksWaitingForOwner(
        const SVTaskController* owner) const;
    const std::vector<std::shared_ptr<SVSingleTask>>& tasksRunning() const { return tasksRunning_; }

    // Routes a worker's messages to the shared center.
    std::shared_ptr<KRMessageCenter> messageController() const override;

protected:
    bool hasRoom() const { return static_cast<int>(tasksRunning_.size()) < maxTaskNumber_; }

    int maxTaskNumber_ = 1;
    std::vector<std::shared_ptr<SVSingleTask>> tasksRunning_;
    std::vector<std::shared_ptr<SVSingleTask>> tasksWaiting_;
};
