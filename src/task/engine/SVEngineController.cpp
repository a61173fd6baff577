#include "task/engine/SVEngineController.h"

#include "diagnostics/Exception.h"
#include "diagnostics/KRComputationalThread.h"
#include "diagnostics/KRCountLimiter.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"
#include "task/runs/ScriptRun.h"
#include "task/single/SVTaskApplication.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <tuple>

namespace {

// Holds one access of the count limiter. Without an application there is no limit.
class Access {
public:
    explicit Access(std::shared_ptr<KRCountLimiter> gate) : gate_(std::move(gate))
    {
        if (gate_)
            gate_->requestAccess();
    }
    ~Access()
    {
        if (gate_)
            gate_->returnAccess();
    }
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;

private:
    std::shared_ptr<KRCountLimiter> gate_;
};

std::shared_ptr<KRCountLimiter> gateOfApplication()
{
    const SVTaskApplication* application = SVTaskApplication::app();
    return application ? application->countLimiter() : nullptr;
}

// Nothing when the task's wrapper has been closed. Main thread.
std::optional<ScriptRun> scriptFor(const SVSingleTask& task)
{
    const SVTaskController* controller = task.controller();
    if (!controller)
        return std::nullopt;
    return ScriptRun{
        fmt::format("{}/MacOSX/{}", controller->wrapperName(), controller->executable().value_or("")),
        task.folderName() + "/", controller->arguments(), kOlderMarkers,
        [&task] { return task.shouldAbort(); }, platform::sleepFor};
}

} // namespace

const std::shared_ptr<SVEngineController>& SVEngineController::localMachine()
{
    static const auto machine = std::make_shared<SVEngineController>();
    return machine;
}

SVEngineController::RemoteMaker& SVEngineController::remoteMaker()
{
    static RemoteMaker maker;
    return maker;
}

std::shared_ptr<SVEngineController> SVEngineController::remoteMachine(const std::string& name)
{
    return remoteMaker() && !name.empty() ? remoteMaker()(name) : nullptr;
}

void SVEngineController::setMaxTaskNumber(int limit)
{
    if (limit < 1)
        return;
    maxTaskNumber_ = limit;
    if (hasRoom())
        startTask();
}

void SVEngineController::addTask(const std::shared_ptr<SVSingleTask>& task)
{
    if (!task)
        return;
    tasksWaiting_.push_back(task);
    task->submittedToWaitingQueOn(*this);
    if (hasRoom())
        startTask();
}

void SVEngineController::startTask()
{
    if (tasksWaiting_.empty())
        return;
    const auto task = tasksWaiting_.front();
    tasksWaiting_.erase(tasksWaiting_.begin());
    tasksRunning_.push_back(task);
    task->startedOn(*this);
    KRComputationalThread::forObject(shared_from_this(), &SVEngineController::runASingleTask, task,
        &SVEngineController::finishedRunningTask);
}

std::shared_ptr<SVSingleTask> SVEngineController::runASingleTask(std::shared_ptr<SVSingleTask> task)
{
    // Return the task even after an exception: finishedRunningTask() has to take it off the list.
    try {
        auto& mainThread = platform::MainLoop::main();
        std::shared_ptr<KRCountLimiter> gate;
        mainThread.postAndWait([&] { gate = gateOfApplication(); });
        const Access access(std::move(gate));
        std::optional<ScriptRun> script;
        mainThread.postAndWait([&] { script = scriptFor(*task); });
        if (script) {
            if (script->run() == ScriptRun::End::Aborted)
                task->removeComputedResults();
            std::ignore = platform::files::remove(script->workDirectory + kOlderMarkers.script);
            std::ignore = platform::files::remove(script->workDirectory + kOlderMarkers.started);
        }
    } catch (...) {
        KRMessageCenter::addMessage("Could not run task", diagnostics::currentException());
    }
    return task;
}

void SVEngineController::finishedRunningTask(std::shared_ptr<SVSingleTask> task)
{
    if (task) {
        std::erase(tasksRunning_, task);
        if (task->shouldAbort()) {
            task->removeComputedResults();
            task->aborted();
            if (SVTaskController* controller = task->controller())
                controller->reloadTaskList();
        } else {
            task->finishedOn(*this);
        }
    }
    if (hasRoom())
        startTask();
}

void SVEngineController::abortJob(SVSingleTask& task)
{
    const auto place = std::find_if(tasksWaiting_.begin(), tasksWaiting_.end(),
        [&task](const auto& waiting) { return waiting.get() == &task; });
    if (place == tasksWaiting_.end())
        return;
    const auto held = *place;
    tasksWaiting_.erase(place);
    held->aborted();
    held->removeComputedResults();
    if (SVTaskController* controller = held->controller())
        controller->fillEngines();
}

std::vector<std::shared_ptr<SVSingleTask>> SVEngineController::currentTasksWaitingForOwner(
    const SVTaskController* owner) const
{
    std::vector<std::shared_ptr<SVSingleTask>> tasks;
    std::copy_if(tasksWaiting_.begin(), tasksWaiting_.end(), std::back_inserter(tasks),
        [owner](const auto& task) { return task->controller() == owner; });
    return tasks;
}

std::shared_ptr<KRMessageCenter> SVEngineController::messageController() const
{
    return KRMessageCenter::sharedMessageCenter();
}
