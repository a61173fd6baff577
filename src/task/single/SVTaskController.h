#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {
class FolderLock;
}
namespace toolkit {
class Table;
}
class SVSingleTask;
class SVTaskMachine;

// The controller of an open wrapper as its tasks and its engine see it. Main thread. A task or an engine that
// outlives the controller is notified and drops its pointer.
class SVTaskController {
public:
    virtual ~SVTaskController() = default;

    virtual const std::string& wrapperName() const = 0;
    virtual std::int64_t serialNumber() const = 0;
    virtual const std::optional<std::string>& executable() const = 0;
    virtual const std::optional<std::string>& executableMD5() const = 0;
    virtual const std::optional<std::vector<std::string>>& inputFiles() const = 0;
    // Whether the list of inputs can't be understood; then no run may be cleared.
    virtual bool inputFilesAreUnknown() const = 0;
    virtual const std::vector<std::shared_ptr<SVSingleTask>>& taskInformation() const = 0;
    virtual std::optional<std::string> xCodeProject() const = 0;
    // Always empty; each task has its own argument().
    virtual std::string arguments() const = 0;
    virtual toolkit::Table* outputTable() const = 0;

    // Whether a detached engine still has a run of this task that is ending. Until the end that run owns the
    // task's folder.
    virtual bool isStillEnding(const SVSingleTask& task) const = 0;

    // The lock that keeps other programs from running or clearing the tasks of this wrapper. All engines of
    // the controller and their last runs share one lock. Check isTaken(): another program may hold it. Never
    // null.
    virtual std::shared_ptr<platform::FolderLock> lockForRunning() = 0;

    // Whether an engine of this controller holds that lock.
    virtual bool isRunningHere() const = 0;

    virtual void changeInTask(SVSingleTask& task) = 0;
    // The variables of a data file of the task have changed.
    virtual void changeInContentOf(SVSingleTask& task) = 0;
    virtual void reloadTaskList() = 0;
    virtual void startedComputingTask(SVSingleTask& task, SVTaskMachine* withEngine) = 0;
    virtual void finishedTask(SVSingleTask& task, SVTaskMachine* withEngine) = 0;
    virtual void changeRunningStatus(
        SVSingleTask& task, const std::string& toString, SVTaskMachine* withEngine) = 0;
    virtual void putTaskBackIntoQue(SVSingleTask& task) = 0;
    virtual void fillEngines() = 0;
    virtual void cancelAllJobs() = 0;
    virtual void endAllTasks() = 0;
};
