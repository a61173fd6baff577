// The way of a task through the engine: its program, its input, its run and its output.

#include "diagnostics/Exception.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "remote/server/SVRemoteEngineController.h"

#include <algorithm>
#include <fmt/format.h>

namespace {

namespace messages = servermessages;
using platform::Value;

constexpr const char* kInternalError = "Internal Error";
constexpr const char* kNotTransferred = "Could not transfer task";
constexpr const char* kOutputNotCopied = "Could not copy output";
constexpr const char* kNotConnectedToTask = "Could not connect to task";

bool contains(const std::vector<std::int64_t>& numbers, std::int64_t number)
{
    return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

} // namespace

bool SVRemoteEngineController::hasConnectionNumber() const
{
    if (numberAtRemoteLocation_)
        return true;
    KRMessageCenter::addMessage(kInternalError, "Invalid connection to remote engine");
    return false;
}

Value::Dictionary SVRemoteEngineController::taskIds(
    const SVSingleTask& task, const SVTaskController& controller) const
{
    return {{messages::kTaskNumber, task.numberInProject()},
        {messages::kEngineNumber, numberAtRemoteLocation_.value_or(0)},
        {messages::kProjectNumber, controller.serialNumber()}};
}

SVRemoteEngineController::Task SVRemoteEngineController::removeTask(const SVSingleTask& task, TaskList& from)
{
    const auto place =
        std::find_if(from.begin(), from.end(), [&task](const auto& one) { return one.get() == &task; });
    if (place == from.end())
        return nullptr;
    auto removed = std::move(*place);
    from.erase(place);
    return removed;
}

void SVRemoteEngineController::removeFromAllLists(const SVSingleTask& task)
{
    for (TaskList* list : {&tasksThatHaventBeenTransferred_, &tasksThatAreBeingTransferred_,
             &tasksThatAreOnRemoteMachine_, &tasksWaiting_, &tasksRunning_})
        removeTask(task, *list);
}

SVRemoteEngineController::TransferState SVRemoteEngineController::transferStateOf(
    const SVSingleTask& task) const
{
    const auto isIn = [&task](const TaskList& list) {
        return std::any_of(list.begin(), list.end(), [&task](const auto& one) { return one.get() == &task; });
    };
    return isIn(tasksThatAreOnRemoteMachine_)   ? TransferState::OnServer
        : isIn(tasksThatAreBeingTransferred_)   ? TransferState::UnderWay
        : isIn(tasksThatHaventBeenTransferred_) ? TransferState::NotYet
                                                : TransferState::None;
}

// Only a task that has been handed to the server can be meant.
SVRemoteEngineController::Task SVRemoteEngineController::find(
    const messages::TaskNews& news, const TaskList& list) const
{
    const auto place = std::find_if(list.begin(), list.end(), [&](const Task& task) {
        return task->numberInProject() == news.taskNumber && task->controller()
            && task->controller()->wrapperName() == news.wrapperName
            && transferStateOf(*task) == TransferState::OnServer;
    });
    return place == list.end() ? nullptr : *place;
}

std::string SVRemoteEngineController::remoteExecutableFor(const SVTaskController& controller) const
{
    return fmt::format("{}/{}/Executable/{}", remoteFolder_, controller.serialNumber(),
        platform::paths::lastComponent(controller.executable().value_or("")));
}

void SVRemoteEngineController::addTask(const Task& task)
{
    if (!hasConnectionNumber())
        return;
    SVTaskController* controller = task ? task->controller() : nullptr;
    if (!controller)
        return;
    task->submittedToWaitingQueOn(*this);
    tasksWaiting_.push_back(task);
    tasksThatHaventBeenTransferred_.push_back(task);
    if (contains(executableExistsFor_, controller->serialNumber()))
        transferTaskOver(task);
    else
        transferExecutableOver(*controller, task);
}

void SVRemoteEngineController::transferExecutableOver(
    const SVTaskController& controller, const Task& withTask)
{
    const std::int64_t serial = controller.serialNumber();
    if (contains(executableExistsFor_, serial) || contains(executableBeingTransferredFor_, serial))
        return;
    executableBeingTransferredFor_.push_back(serial);
    const Value project = Value::Dictionary{{messages::kProjectNumber, serial},
        {messages::kWrapperName, controller.wrapperName()},
        {messages::kEngineNumber, *numberAtRemoteLocation_}};
    if (!ask(messages::kSetupProject, project, "Could not transfer executable"))
        return;
    withTask->transferringInput();
    const std::string folder = platform::paths::deletingLastComponent(remoteExecutableFor(controller)) + "/";
    startCopy(
        std::make_shared<Copy>(Copy{withTask,
            request(ScpRequest::Direction::ToServer,
                platform::paths::appending(controller.wrapperName(), controller.executable().value_or("")),
                folder, withTask)}),
        &SVRemoteEngineController::finishedCopyingExecutable);
}

void SVRemoteEngineController::startCopy(
    std::shared_ptr<Copy> copy, void (SVRemoteEngineController::*ending)(std::shared_ptr<Copy>))
{
    copy->failed = false;
    KRComputationalThread::forObject(std::static_pointer_cast<SVRemoteEngineController>(shared_from_this()),
        &SVRemoteEngineController::runCopy, std::move(copy), ending);
}

std::shared_ptr<SVRemoteEngineController::Copy> SVRemoteEngineController::runCopy(std::shared_ptr<Copy> copy)
{
    // Returns the copy even after an exception: its ending takes the task off the lists.
    try {
        copy->failed =
            !copy->task->shouldAbort() && !transfers_.run(copy->request) && !copy->task->shouldAbort();
    } catch (...) {
        KRMessageCenter::addMessage("Could not run task", diagnostics::currentException());
        copy->failed = true;
    }
    return copy;
}

void SVRemoteEngineController::finishedCopyingExecutable(std::shared_ptr<Copy> copy)
{
    const Task& task = copy->task;
    SVTaskController* controller = task->controller();
    if (!connection_ || !controller)
        return;
    const std::int64_t serial = controller->serialNumber();
    if (task->copyShouldBeRetried()) {
        task->setAbortStatus(SVSingleTask::NoAbort);
        return startCopy(copy, &SVRemoteEngineController::finishedCopyingExecutable);
    }
    std::erase(executableBeingTransferredFor_, serial);
    if (task->taskShouldBeAborted() || copy->failed) {
        removeTask(*task, tasksThatHaventBeenTransferred_);
        removeTask(*task, tasksWaiting_);
        if (!task->taskShouldBeAborted())
            return task->failedAtTransferringOn(*this);
        task->aborted();
        return controller->fillEngines();
    }
    executableExistsFor_.push_back(serial);
    const TaskList waiting = tasksThatHaventBeenTransferred_;
    for (const Task& one : waiting)
        if (one->controller() == controller)
            transferTaskOver(one);
}

void SVRemoteEngineController::transferTaskOver(const Task& task)
{
    if (!hasConnectionNumber())
        return;
    SVTaskController* controller = task->controller();
    if (!controller)
        return removeFromAllLists(*task);
    removeTask(*task, tasksThatHaventBeenTransferred_);
    tasksThatAreBeingTransferred_.push_back(task);
    task->transferringInput();
    controller->changeRunningStatus(*task, "Copying Input", this);
    const int number = task->numberInProject();
    startCopy(
        std::make_shared<Copy>(Copy{task,
            request(ScpRequest::Direction::ToServer, fmt::format("{}/{}", controller->wrapperName(), number),
                fmt::format("{}/{}/{}", remoteFolder_, controller->serialNumber(), number), task)}),
        &SVRemoteEngineController::finishedTransferringTask);
}

void SVRemoteEngineController::finishedTransferringTask(std::shared_ptr<Copy> copy)
{
    if (!connection_)
        return;
    const Task& task = copy->task;
    if (copy->failed) {
        removeTask(*task, tasksThatAreBeingTransferred_);
        removeTask(*task, tasksWaiting_);
        return task->failedAtTransferringOn(*this);
    }
    const SVTaskController* controller = task->controller();
    if (!controller)
        return removeFromAllLists(*task);
    if (task->copyShouldBeRetried()) {
        task->setAbortStatus(SVSingleTask::NoAbort);
        // scp would put the second copy into what the first one has left of the folder.
        if (ask(messages::kRemoveTransferredTask, taskIds(*task, *controller), kNotTransferred))
            startCopy(copy, &SVRemoteEngineController::finishedTransferringTask);
        return;
    }
    removeTask(*task, tasksThatAreBeingTransferred_);
    if (task->taskShouldBeAborted())
        return transferredTaskWasAborted(task, *controller);
    tasksThatAreOnRemoteMachine_.push_back(task);
    auto job = taskIds(*task, *controller);
    job[messages::kExecutable] = platform::paths::lastComponent(controller->executable().value_or(""));
    job[messages::kArguments] = controller->arguments();
    task->submittedToWaitingQueOn(*this);
    (void)ask(messages::kAddedTask, job, kNotTransferred);
}

void SVRemoteEngineController::transferredTaskWasAborted(const Task& task, const SVTaskController& controller)
{
    task->aborted();
    removeTask(*task, tasksWaiting_);
    const std::int64_t serial = controller.serialNumber();
    if (!contains(executableExistsFor_, serial) && !contains(executableBeingTransferredFor_, serial))
        return;
    if (!ask(messages::kRemoveTransferredTask, taskIds(*task, controller), kNotTransferred))
        return;
    task->finishedOn(*this);
    if (SVTaskController* project = task->controller())
        project->fillEngines();
}

void SVRemoteEngineController::startedComputingTask(const messages::TaskNews& news)
{
    const Task task = find(news, tasksWaiting_);
    if (!task)
        return KRMessageCenter::addMessage(kInternalError, "Could not find the task that was started.");
    removeTask(*task, tasksWaiting_);
    tasksRunning_.push_back(task);
    task->startedOn(*this);
}

void SVRemoteEngineController::newOutputLength(const messages::TaskNews& news)
{
    if (const Task task = find(news, tasksRunning_))
        task->setNumberOfOutputLines(news.lines);
}

void SVRemoteEngineController::finishedRunningTask(const messages::TaskNews& news)
{
    if (!connection_)
        return KRMessageCenter::addMessage("Unexpected callback from remote controller");
    Task task = find(news, tasksRunning_);
    if (task) {
        removeTask(*task, tasksRunning_);
    } else {
        task = find(news, tasksWaiting_);
        if (!task)
            return KRMessageCenter::addMessage(kInternalError, "Finished an unknown job");
        if (!task->shouldAbort())
            KRMessageCenter::addMessage(kInternalError,
                "Stopped a job that has not been marked as aborted, but was still in the wait que.");
    }
    SVTaskController& controller = *task->controller();
    if (news.isAborted || task->shouldAbort())
        cleanUpAborted(task, controller);
    else
        fetchOutput(task, controller);
}

void SVRemoteEngineController::fetchOutput(const Task& task, SVTaskController& controller)
{
    const int number = task->numberInProject();
    const auto ids = taskIds(*task, controller);
    Value::Array names;
    const auto listed =
        platform::files::contentsOfDirectory(fmt::format("{}/{}", controller.wrapperName(), number));
    for (const std::string& name : listed.value_or({}))
        names.emplace_back(name);
    const Value known = Value::Dictionary{{messages::kDirInfo, std::move(names)}, {messages::kInfo, ids}};
    if (!ask(messages::kRemoveFilesInTaskOutput, known, kOutputNotCopied))
        return;
    task->transferringOutput();
    controller.changeRunningStatus(*task, "Transferring Output", this);
    startCopy(std::make_shared<Copy>(Copy{task,
                  request(ScpRequest::Direction::FromServer,
                      fmt::format("{}/{}/{}", remoteFolder_, controller.serialNumber(), number),
                      controller.wrapperName(), task)}),
        &SVRemoteEngineController::finishedCopyingOutput);
}

void SVRemoteEngineController::finishedCopyingOutput(std::shared_ptr<Copy> copy)
{
    const Task& task = copy->task;
    SVTaskController* controller = task->controller();
    if (!connection_)
        return;
    if (!controller)
        return removeFromAllLists(*task);
    if (copy->failed) {
        task->removeComputedResults();
        removeFromAllLists(*task);
        task->failedAtTransferringOn(*this);
        (void)ask(messages::kRemoveTask, taskIds(*task, *controller), kOutputNotCopied);
    } else if (task->copyShouldBeRetried()) {
        task->setAbortStatus(SVSingleTask::NoAbort);
        startCopy(copy, &SVRemoteEngineController::finishedCopyingOutput);
    } else if (task->taskShouldBeAborted()) {
        cleanUpAborted(task, *controller);
    } else if (ask(messages::kRemoveTask, taskIds(*task, *controller), kOutputNotCopied)) {
        task->finishedOn(*this);
        removeFromAllLists(*task);
    }
}

void SVRemoteEngineController::cleanUpAborted(const Task& task, SVTaskController& controller)
{
    task->removeComputedResults();
    task->aborted();
    removeFromAllLists(*task);
    if (!ask(messages::kRemoveTask, taskIds(*task, controller), kOutputNotCopied))
        return;
    task->finishedOn(*this);
    controller.fillEngines();
}

void SVRemoteEngineController::abortJob(SVSingleTask& task)
{
    const SVTaskController* controller = task.controller();
    if (!controller)
        return removeFromAllLists(task);
    if (hasConnectionNumber())
        (void)ask(messages::kAbortTask, taskIds(task, *controller), kNotTransferred);
}

void SVRemoteEngineController::removeControllerNumber(std::int64_t serialNumber)
{
    const auto forgotten = std::erase(executableExistsFor_, serialNumber)
        + std::erase(executableBeingTransferredFor_, serialNumber);
    if (forgotten == 0 || !numberAtRemoteLocation_)
        return;
    const Value project = Value::Dictionary{
        {messages::kEngineNumber, *numberAtRemoteLocation_}, {messages::kProjectNumber, serialNumber}};
    (void)ask(messages::kRemoveProjectFolder, project, kInternalError);
}

void SVRemoteEngineController::startListeningToOutput(SVSingleTask& task)
{
    if (const auto* controller = hasConnectionNumber() ? task.controller() : nullptr)
        (void)ask(messages::kReportOutput, taskIds(task, *controller), kNotConnectedToTask);
}

void SVRemoteEngineController::stopListeningToOutput(SVSingleTask& task)
{
    if (const auto* controller = hasConnectionNumber() ? task.controller() : nullptr)
        (void)ask(messages::kStopReportingOutput, taskIds(task, *controller), kNotConnectedToTask);
}

std::optional<std::string> SVRemoteEngineController::getOutputLineNumber(int line, SVSingleTask& forTask)
{
    const auto* controller = hasConnectionNumber() ? forTask.controller() : nullptr;
    if (!controller)
        return std::nullopt;
    auto wanted = taskIds(forTask, *controller);
    wanted[messages::kLineNumber] = line;
    const auto reply = ask(messages::kGetOutputLine, wanted, kNotConnectedToTask);
    return reply ? messages::readLine(*reply) : std::nullopt;
}
