#include "task/engine/SVTrelkindEngineLocal.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/files/Paths.h"
#include "task/engine/BatchCount.h"
#include "task/engine/RunChecks.h"
#include "task/single/SVSingleTask.h"
#include "task/single/SVTaskController.h"
#include "toolkit/Workspace.h"

#include <fmt/format.h>

#include <algorithm>

namespace {
constexpr int kFirstConcurrency = 4;
constexpr int kMostConcurrency = 32;
constexpr double kSecondsBetweenChecks = 10.0;
constexpr double kSecondsBetweenLooks = 0.5; // While a front end shows the runs.
constexpr toolkit::Rect kPanelFrame{0, 0, 400, 40};

// Of this process.
std::vector<SVTrelkindEngineLocal*>& allEngines()
{
    static std::vector<SVTrelkindEngineLocal*> engines;
    return engines;
}

} // namespace

SVTrelkindEngineLocal::LocalAddition::LocalAddition()
{
    view.setLayout("Local addition");
    view.setFrame(kPanelFrame);
    startButton.setTitle("Start");
    endButton.setTitle("End");
    endButton.setHidden(true);
    concurrency.setStringValue(fmt::format("{}", kFirstConcurrency));
    concurrency.setAccessibleName("Tasks at a time");
    concurrency.setColumns(4);
    for (toolkit::View* part : {static_cast<toolkit::View*>(&startButton),
             static_cast<toolkit::View*>(&endButton), static_cast<toolkit::View*>(&concurrency)})
        view.addSubview(*part);
}

SVTrelkindEngineLocal::SVTrelkindEngineLocal(SVTaskController* withTask)
    : SVTrelkindEngine(withTask), operations_(kFirstConcurrency)
{
    panel_.startButton.whenPressed = [this] { startAndReport(); };
    panel_.endButton.whenPressed = [this] { endTasks(); };
    panel_.concurrency.whenCommitted = [this] { changeConcurrency(panel_.concurrency); };
    allEngines().push_back(this);
}

SVTrelkindEngineLocal::~SVTrelkindEngineLocal()
{
    std::erase(allEngines(), this);
}

SVTrelkindEngineLocal::Work SVTrelkindEngineLocal::allWork()
{
    Work work;
    for (const SVTrelkindEngineLocal* engine : allEngines()) {
        const int running = static_cast<int>(engine->whichTasksAreRunning_.size());
        work.running += running;
        work.waiting += std::max(0, engine->operations_.operationCount() - running);
    }
    return work;
}

void SVTrelkindEngineLocal::dropAllWaiting()
{
    for (SVTrelkindEngineLocal* engine : allEngines())
        engine->operations_.dropWaitingOperations();
}

void SVTrelkindEngineLocal::endAllWork()
{
    for (SVTrelkindEngineLocal* engine : std::vector(allEngines()))
        engine->endTasks();
}

bool SVTrelkindEngineLocal::isToBeStarted(const SVSingleTask& task) const
{
    return task.taskShouldBeRun() && (!choice_.tasks || choice_.tasks->contains(task.numberInProject()))
        && !taskController_->isStillEnding(task);
}

platform::Result<int> SVTrelkindEngineLocal::startAfterChecks(RunChoice choice)
{
    if (!taskController_)
        return platform::Error{"The window of these tasks has closed."};
    auto lock = taskController_->lockForRunning();
    if (lock->isTaken())
        return platform::Error{
            fmt::format("{} is being run, or cleared, by another trelkind.", taskController_->wrapperName())};
    // An earlier holder of the lock may have changed the tasks.
    for (const auto& task : taskController_->taskInformation())
        task->updateBasedOnContent();
    if (auto status = checkBeforeRun(*taskController_); !status.ok())
        return status.error();
    reportObstacles(*taskController_);
    choice_ = std::move(choice);
    const auto& tasks = taskController_->taskInformation();
    const auto count =
        std::count_if(tasks.begin(), tasks.end(), [this](const auto& task) { return isToBeStarted(*task); });
    if (count == 0)
        return 0;
    lock_ = std::move(lock);
    startTasks();
    looks_ = platform::Timer::schedule(
        kSecondsBetweenLooks, platform::Timer::Repeats::Yes, [this] { updateStatus(); });
    return static_cast<int>(count);
}

void SVTrelkindEngineLocal::startAndReport(RunChoice choice)
{
    const auto started = startAfterChecks(std::move(choice));
    if (!started.ok())
        KRMessageCenter::addMessage("The tasks can not be run.", started.error().text);
    else if (*started == 0)
        KRMessageCenter::addMessage("No task is left to be run.",
            "All tasks were started before. Clear those that are to be run again.");
}

void SVTrelkindEngineLocal::startTasks()
{
    running_ = true;
    panel_.startButton.setHidden(true);
    panel_.endButton.setHidden(false);
    if (!taskController_)
        return;
    const std::string& wrapper = taskController_->wrapperName();
    const std::string executable =
        fmt::format("{}/MacOSX/{}", wrapper, taskController_->executable().value_or(""));
    const auto self = std::static_pointer_cast<SVTrelkindEngineLocal>(shared_from_this());
    std::function<void()> whenFailed;
    if (choice_.haltsAtFailure)
        whenFailed = [this] { operations_.dropWaitingOperations(); }; // The operation keeps the engine alive.
    for (const auto& task : taskController_->taskInformation())
        if (isToBeStarted(*task))
            operations_.addOperation(std::make_shared<SVLocalTaskOperation>(task->numberInProject(),
                executable, fmt::format("{}/{}/", wrapper, task->numberInProject()), task->argument(), self,
                whenFailed));
    checkPeriodically_ = platform::Timer::schedule(
        kSecondsBetweenChecks, platform::Timer::Repeats::Yes, [this] { checkTimerStruck(); });
}

bool SVTrelkindEngineLocal::isAtWork(int taskNumber) const
{
    const auto operations = operations_.operations();
    return whichTasksAreRunning_.contains(taskNumber)
        || std::any_of(operations.begin(), operations.end(), [taskNumber](const auto& operation) {
               return static_cast<const SVLocalTaskOperation&>(*operation).taskNumber() == taskNumber;
           });
}

void SVTrelkindEngineLocal::endTasks()
{
    checkPeriodically_.reset();
    operations_.cancelAllOperations();
    panel_.endButton.setHidden(true);
    if (operations_.operationCount() == 0) { // No run had begun, so endedJob() will not be called.
        lock_.reset();
        looks_.reset();
    }
    updateStatus();
}

void SVTrelkindEngineLocal::changeConcurrency(const toolkit::TextField& control)
{
    const int wanted = std::clamp(control.integerValue(), 1, kMostConcurrency);
    if (wanted != concurrency())
        operations_.setMaxConcurrentOperationCount(wanted);
}

void SVTrelkindEngineLocal::checkTimerStruck()
{
    platform::systemLog("Checking");
    updateStatus();
}

std::shared_ptr<SVSingleTask> SVTrelkindEngineLocal::taskWithNumber(int number) const
{
    if (!taskController_)
        return nullptr;
    const auto& tasks = taskController_->taskInformation();
    const auto index = static_cast<std::size_t>(number);
    return number >= 0 && index < tasks.size() ? tasks[index] : nullptr;
}

void SVTrelkindEngineLocal::updateStatus()
{
    for (const int number : std::set<int>(whichTasksAreRunning_))
        if (const auto task = taskWithNumber(number))
            task->updateBasedOnContent();
}

void SVTrelkindEngineLocal::startedJob(SVLocalTaskOperation& operation)
{
    whichTasksAreRunning_.insert(operation.taskNumber());
}

bool SVTrelkindEngineLocal::allTasksAreFinished() const
{
    const auto& tasks = taskController_->taskInformation();
    return std::all_of(tasks.begin(), tasks.end(), [](const auto& task) { return task->taskIsFinished(); });
}

void SVTrelkindEngineLocal::endedJob(SVLocalTaskOperation& operation)
{
    whichTasksAreRunning_.erase(operation.taskNumber());
    if (const auto task = taskWithNumber(operation.taskNumber()))
        task->updateBasedOnContent();
    if (operations_.operationCount() != 0)
        return;
    lock_.reset();
    looks_.reset();
    checkPeriodically_.reset();
    panel_.startButton.setHidden(false);
    panel_.endButton.setHidden(true);
    tellOfTheEnd();
    if (taskController_ && isAttached_ && allTasksAreFinished())
        taskController_->endAllTasks();
}

// For the user, who may be at other work.
void SVTrelkindEngineLocal::tellOfTheEnd() const
{
    if (const auto& notify = toolkit::Workspace::shared().notify; notify && taskController_)
        notify(platform::paths::lastComponent(taskController_->wrapperName()),
            BatchCount::of(*taskController_).sentence());
}

void SVTrelkindEngineLocal::disconnect()
{
    isAttached_ = false;
    checkPeriodically_.reset();
    if (isRunning())
        operations_.cancelAllOperations();
}

void SVTrelkindEngineLocal::disconnectFromTaskController()
{
    checkPeriodically_.reset();
    looks_.reset();
    taskController_ = nullptr;
}
