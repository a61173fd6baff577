// The verbs that change a wrapper: clearing data, preparing for another machine.

#include "app/ExecutableCheck.h"
#include "app/OpenWrapper.h"
#include "app/Terminal.h"
#include "app/Verbs.h"
#include "platform/FileManager.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using Tasks = std::vector<std::shared_ptr<SVSingleTask>>;

void tell(const std::string& sentence)
{
    terminal::write(sentence + "\n");
}

// The tasks to clear; nothing, told why, when one of them must not be.
std::optional<Tasks> tasksToClear(OpenWrapper& wrapper, const std::vector<int>& numbers)
{
    Tasks tasks;
    for (const int number : numbers) {
        const auto task = wrapper.task(number);
        if (!task)
            return std::nullopt;
        tasks.push_back(task);
    }
    return tasks;
}

// A run at work would lose its files under its hands.
bool isAtWork(const SVSingleTask& task)
{
    if (!task.taskHasStarted() || task.taskHasFinished())
        return false;
    const auto processes = processesWorkingIn(task.folderName());
    if (processes.empty())
        return false;
    complain(fmt::format("Task {} is at work in process {}; it was not cleared.", task.numberInProject() + 1,
        fmt::join(processes, ", ")));
    return true;
}

bool hasDataLeft(SVSingleTask& task)
{
    const auto left =
        platform::files::contentsOfDirectory(task.folderName()).value_or(std::vector<std::string>());
    const auto& inputs = task.controller()->inputFiles();
    return std::any_of(left.begin(), left.end(), [&inputs](const std::string& name) {
        return !inputs || std::find(inputs->begin(), inputs->end(), name) == inputs->end();
    });
}

int reportCleared(const Tasks& tasks, bool refused)
{
    int cleared = 0;
    for (const auto& task : tasks) {
        if (hasDataLeft(*task))
            complain(fmt::format("Some of the data of task {} could not be removed from {}.",
                task->numberInProject() + 1, task->folderName()));
        else
            ++cleared;
    }
    tell(cleared == 1 ? std::string("Cleared 1 task.") : fmt::format("Cleared {} tasks.", cleared));
    return refused || cleared < static_cast<int>(tasks.size()) ? kNotDone : kDone;
}

int clearAborted(KRTrelkindController& controller)
{
    Tasks aborted;
    for (const auto& task : controller.taskInformation())
        if (task->taskWasAborted())
            aborted.push_back(task);
    if (!controller.validateMenuItem("clearAbortedTasks:")) {
        tell("There are no aborted tasks to clear.");
        return kDone;
    }
    controller.clearAbortedTasks();
    return reportCleared(aborted, false);
}

} // namespace

int clearVerb(const ClearOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    if (options.aborted)
        return clearAborted(wrapper->controller());
    auto tasks = tasksToClear(*wrapper, options.numbers);
    if (!tasks)
        return kWrongUse;
    const auto refused = std::erase_if(*tasks, [](const auto& task) { return isAtWork(*task); });
    for (const auto& task : *tasks)
        task->clearData();
    return reportCleared(*tasks, refused > 0);
}

int prepareVerb(const WrapperOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    KRTrelkindController& controller = wrapper->controller();
    const auto project = controller.xCodeProject();
    if (!project || !controller.validateMenuItem("prepareForUpload:")) {
        complain(fmt::format("{} has no project: its Info.plist names none under \"Project Name\".",
            controller.wrapperName()));
        return kNotDone;
    }
    if (!platform::files::exists(*project + "/project.pbxproj")) {
        complain(fmt::format("The project {} can not be read.", *project));
        return kNotDone;
    }
    controller.prepareForUpload();
    const std::string folder = controller.wrapperName() + "/Project";
    if (!platform::files::exists(folder + "/submit")
        || !platform::files::exists(folder + "/Sources/Makefile")) {
        complain(fmt::format("{} could not be written.", folder));
        return kNotDone;
    }
    tell(fmt::format("Prepared {}.", folder));
    return kDone;
}
