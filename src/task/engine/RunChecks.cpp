#include "task/engine/RunChecks.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/FolderLock.h"
#include "task/runs/WorkingProcesses.h"
#include "task/single/SVSingleTask.h"
#include "task/single/SVTaskController.h"
#include "task/single/TaskState.h"
#include "task/wrapper/ExecutableCheck.h"
#include "task/wrapper/TaskNumbers.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

namespace files = platform::files;
using platform::Error;
using platform::Status;

std::vector<std::shared_ptr<SVSingleTask>> tasksToRun(const SVTaskController& controller)
{
    std::vector<std::shared_ptr<SVSingleTask>> tasks;
    std::copy_if(controller.taskInformation().begin(), controller.taskInformation().end(),
        std::back_inserter(tasks), [](const auto& task) { return task->taskShouldBeRun(); });
    return tasks;
}

Status checkRunFolder(const SVSingleTask& task)
{
    if (files::isDirectory(task.folderName()))
        return checkWritable(task.folderName());
    return Error{fmt::format("The run folder {} {}.", task.folderName(),
        files::exists(task.folderName()) ? "is not a folder" : "does not exist")};
}

} // namespace

Status checkBeforeRun(const SVTaskController& controller)
{
    const std::string& wrapper = controller.wrapperName();
    if (controller.taskInformation().empty())
        return Error{fmt::format("{} has no tasks.", wrapper)};
    const auto tasks = tasksToRun(controller);
    if (tasks.empty())
        return {};
    if (!controller.executable())
        return Error{fmt::format("{} names no executable in its Executable.plist.", wrapper)};
    if (auto status = checkExecutable(fmt::format("{}/MacOSX/{}", wrapper, *controller.executable()));
        !status.ok())
        return status;
    // A folder that can't be written affects only its own task, unless all folders are like it.
    Status first;
    for (const auto& task : tasks) {
        auto status = checkRunFolder(*task);
        if (status.ok())
            return {};
        if (first.ok())
            first = std::move(status);
    }
    return first;
}

std::vector<int> lostTasks(const SVTaskController& controller)
{
    std::vector<int> lost;
    const auto& tasks = controller.taskInformation();
    const auto isRunning = [](const auto& task) { return stateOf(*task) == TaskState::Running; };
    if (std::none_of(tasks.begin(), tasks.end(), isRunning))
        return lost;
    // Another program holds the lock. This program's own engine knows its runs.
    if (!controller.isRunningHere()
        && platform::FolderLock(controller.wrapperName(), platform::FolderLock::Kind::Shared).isTaken())
        return lost;
    const auto processes = WorkingProcesses::now();
    for (const auto& task : tasks)
        if (isRunning(task) && processes.in(task->folderName()).empty())
            lost.push_back(task->numberInProject() + 1);
    return lost;
}

void reportObstacles(const SVTaskController& controller)
{
    for (const auto& task : tasksToRun(controller))
        if (const auto status = checkRunFolder(*task); !status.ok())
            KRMessageCenter::addMessage(
                fmt::format("Task {} can not be run.", task->numberInProject() + 1), status.error().text);

    if (const auto lost = lostTasks(controller); !lost.empty())
        KRMessageCenter::addMessage("Tasks of an earlier session are lost.",
            fmt::format("These tasks were started earlier, and no process of this computer works in their "
                        "folders: {}. Clear them to run them again.",
                numberRanges(lost)));
}
