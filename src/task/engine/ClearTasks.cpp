#include "task/engine/ClearTasks.h"

#include "platform/Result.h"
#include "platform/files/FileManager.h"
#include "platform/files/FolderLock.h"
#include "task/runs/WorkingProcesses.h"
#include "task/single/SVSingleTask.h"
#include "task/wrapper/TaskNumbers.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

namespace files = platform::files;
using platform::Error;
using platform::FolderLock;
using platform::Status;

// A run that another session is about to launch has no process yet, so every task that session may still
// launch is skipped.
Status checkMayBeCleared(SVSingleTask& task, const FolderLock& lock, const WorkingProcesses& processes)
{
    const int number = task.numberInProject() + 1;
    task.updateBasedOnContent();
    if (lock.isTaken() && !task.taskHasFinished() && !task.taskWasAborted())
        return Error{fmt::format("Task {} belongs to a batch that another trelkind is running, and has not "
                                 "ended; it was not cleared.",
            number)};
    if (!task.taskHasStarted() || task.taskHasFinished())
        return {};
    const auto ids = processes.in(task.folderName());
    if (ids.empty())
        return {};
    return Error{
        fmt::format("Task {} is running in process {}; it was not cleared.", number, fmt::join(ids, ", "))};
}

bool hasDataLeft(const SVSingleTask& task)
{
    const auto left = files::contentsOfDirectory(task.folderName()).value_or(std::vector<std::string>());
    const auto& inputs = task.controller()->inputFiles();
    return std::any_of(left.begin(), left.end(), [&inputs](const std::string& name) {
        return !inputs || std::find(inputs->begin(), inputs->end(), name) == inputs->end();
    });
}

} // namespace

ClearTasks ClearTasks::clear(
    const std::string& wrapperName, const std::vector<std::shared_ptr<SVSingleTask>>& tasks)
{
    // Shared: several programs may clear at the same time, but none may start runs meanwhile.
    const FolderLock lock(wrapperName, FolderLock::Kind::Shared);
    const auto processes = WorkingProcesses::now();
    ClearTasks result;
    for (const auto& task : tasks) {
        if (const auto status = checkMayBeCleared(*task, lock, processes); !status.ok()) {
            result.complaints.push_back(status.error().text);
            continue;
        }
        task->clearData();
        if (hasDataLeft(*task))
            result.complaints.push_back(
                fmt::format("Some of the data of task {} could not be removed from {}.",
                    task->numberInProject() + 1, task->folderName()));
        else
            ++result.cleared;
    }
    return result;
}

std::optional<std::string> ClearTasks::questionBefore(
    const std::string& wrapperName, const std::vector<std::shared_ptr<SVSingleTask>>& tasks)
{
    std::vector<int> done;
    for (const auto& task : tasks)
        if (task->taskHasFinished() && !task->hasFailed())
            done.push_back(task->numberInProject() + 1);
    if (done.empty())
        return std::nullopt;
    return done.size() == 1
        ? fmt::format("Task {} of {} is done, and clearing it removes its results. Clear it?", done.front(),
            wrapperName)
        : fmt::format("{} tasks of {} are done, and clearing them removes their results: {}. Clear them?",
            done.size(), wrapperName, numberRanges(done));
}
