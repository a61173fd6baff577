// The verbs that change a wrapper: clearing data, preparing for another machine.

#include "apps/console/ExecutableCheck.h"
#include "apps/console/OpenWrapper.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "platform/files/FileManager.h"
#include "platform/files/FolderLock.h"
#include "platform/files/Paths.h"
#include "platform/plist/PropertyList.h"
#include "remote/project/XCodeProject.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace {

namespace files = platform::files;
using platform::FolderLock;
using Tasks = std::vector<std::shared_ptr<SVSingleTask>>;

bool tell(const std::string& sentence)
{
    return terminal::write(sentence + "\n");
}

// The tasks to clear; nothing, told why, when one of them must not be.
std::optional<Tasks> tasksToClear(OpenWrapper& wrapper, const std::vector<int>& numbers)
{
    Tasks tasks;
    for (const int number : std::set<int>(numbers.begin(), numbers.end())) {
        const auto task = wrapper.task(number);
        if (!task)
            return std::nullopt;
        tasks.push_back(task);
    }
    return tasks;
}

// A run at work would lose its files under its hands. One that another session is about to launch shows in no
// process yet, and so all that this session may still launch is left alone.
bool mustBeLeft(SVSingleTask& task, const FolderLock& lock)
{
    task.updateBasedOnContent();
    if (lock.isTaken() && !task.taskHasFinished() && !task.taskWasAborted()) {
        complain(
            fmt::format("Task {} belongs to a batch that another trelkind is running, and has not ended; it "
                        "was not cleared.",
                task.numberInProject() + 1));
        return true;
    }
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
    const auto left = files::contentsOfDirectory(task.folderName()).value_or(std::vector<std::string>());
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
    const bool told =
        tell(cleared == 1 ? std::string("Cleared 1 task.") : fmt::format("Cleared {} tasks.", cleared));
    return !told || refused || cleared < static_cast<int>(tasks.size()) ? kNotDone : kDone;
}

int clearAborted(KRTrelkindController& controller, const FolderLock& lock)
{
    if (!controller.validateMenuItem("clearAbortedTasks:"))
        return tell("There are no aborted tasks to clear.") ? kDone : kNotDone;
    Tasks aborted;
    for (const auto& task : controller.taskInformation())
        if (task->taskWasAborted())
            aborted.push_back(task);
    const auto refused =
        std::erase_if(aborted, [&lock](const auto& task) { return mustBeLeft(*task, lock); });
    if (refused == 0)
        controller.clearAbortedTasks();
    else
        for (const auto& task : aborted)
            task->clearData();
    return reportCleared(aborted, refused > 0);
}

bool sameContent(const std::string& a, const std::string& b)
{
    return files::size(a) == files::size(b) && files::readFile(a) == files::readFile(b);
}

// Whether the sources of a project lie in the wrapper as they are; tells of each that doesn't.
bool sourcesArePrepared(const std::string& projectPath, const std::string& folder)
{
    bool complete = true;
    for (const std::string& source : XCodeProject::createWithFile(projectPath)->filesToCopy()) {
        const std::string copy = folder + "/Sources/" + platform::paths::lastComponent(source);
        if (!files::exists(source))
            complain(fmt::format("The source {} does not exist.", source));
        else if (!files::exists(copy))
            complain(fmt::format("The source {} could not be copied to {}.", source, copy));
        else if (!sameContent(source, copy))
            complain(fmt::format(
                "{} differs from {} and was kept; remove it and prepare again to take the source.", copy,
                source));
        else
            continue;
        complete = false;
    }
    return complete;
}

} // namespace

int clearVerb(const ClearOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    // Shared, for those who clear don't stand in each other's way; nobody begins to run meanwhile.
    const FolderLock lock(wrapper->controller().wrapperName(), FolderLock::Kind::Shared);
    if (options.aborted)
        return clearAborted(wrapper->controller(), lock);
    auto tasks = tasksToClear(*wrapper, options.numbers);
    if (!tasks)
        return kWrongUse;
    const auto refused = std::erase_if(*tasks, [&lock](const auto& task) { return mustBeLeft(*task, lock); });
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
    const auto read = platform::propertylist::readFile(*project + "/project.pbxproj");
    if (!read || read->isNull()) {
        complain(read ? fmt::format("The project {} does not exist.", *project) : read.error().text);
        return kNotDone;
    }
    const std::string folder = controller.wrapperName() + "/Project";
    if (!files::isDirectory(folder) && !files::createDirectory(folder)) {
        complain(fmt::format("{} could not be written.", folder));
        return kNotDone;
    }
    if (const auto reason = whyNotWritable(folder)) {
        complain(*reason);
        return kNotDone;
    }
    controller.prepareForUpload();
    if (!sourcesArePrepared(*project, folder))
        return kNotDone;
    return tell(fmt::format("Prepared {}.", folder)) ? kDone : kNotDone;
}
