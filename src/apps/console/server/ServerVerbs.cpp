// "run" through a task server: what has to be true before anything goes there.

#include "apps/console/ChosenTasks.h"
#include "apps/console/server/ServedRun.h"
#include "platform/files/FileManager.h"
#include "platform/files/FolderLock.h"
#include "remote/server/ServerPlaces.h"
#include "task/wrapper/ShellWord.h"
#include "task/wrapper/TaskNumbers.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using platform::Error;
using platform::Status;

Status checkMachine(const MachineName& machine)
{
    if (!machine.queue.empty())
        return Error{"A task server has no queues: write USER@HOST."};
    if (auto status = serverplaces::checkPlainName("user", machine.user); !status)
        return status;
    return serverplaces::checkPlainName("host", machine.host);
}

ServedRun::Tasks tasksToRun(
    const KRTrelkindController& controller, const std::optional<std::set<int>>& chosen)
{
    ServedRun::Tasks tasks;
    for (const auto& task : controller.taskInformation())
        if (task->taskShouldBeRun() && (!chosen || chosen->contains(task->numberInProject())))
            tasks.push_back(task);
    return tasks;
}

Status checkBeforeServing(
    const KRTrelkindController& controller, const ServedRun::Tasks& tasks, const RunOptions& options)
{
    const std::string& wrapper = controller.wrapperName();
    const auto& all = controller.taskInformation();
    if (all.empty())
        return Error{fmt::format("{} has no tasks.", wrapper)};
    if (options.watch && (*options.watch < 1 || *options.watch > static_cast<int>(all.size())))
        return Error{fmt::format("There is no task {} to watch.", *options.watch)};
    if (!controller.executable())
        return Error{fmt::format("{} names no executable in its Executable.plist.", wrapper)};
    const std::string program = fmt::format("{}/{}", wrapper, *controller.executable());
    if (!platform::files::exists(program))
        return Error{fmt::format(
            "A task server gets the program from {0}, which does not exist. For a machine "
            "like this one: cp {1} {0}",
            shellWord(program), shellWord(fmt::format("{}/MacOSX/{}", wrapper, *controller.executable())))};
    const bool haveArguments =
        std::any_of(tasks.begin(), tasks.end(), [](const auto& task) { return !task->argument().empty(); });
    if (haveArguments && !options.withoutArguments)
        return Error{"The tasks have arguments, which don't reach their runs on a task server. Write the "
                     "parameters into their input files, or run them with --without-arguments."};
    return {};
}

} // namespace

int serverRunVerb(const RunOptions& options)
{
    auto machine = MachineName::parse(*options.server);
    if (!machine)
        return kWrongUse;
    if (const auto status = checkMachine(*machine); !status) {
        complain(status.error().text);
        return kWrongUse;
    }
    const auto wrapper = OpenWrapper::open(options.wrapper);
    if (!wrapper)
        return kWrongUse;
    KRTrelkindController& controller = wrapper->controller();
    if (hasBatchOnCluster(options.wrapper)) {
        complain(fmt::format("{0} has a batch on a cluster. \"trelkind end {0}\" gives it up.",
            shellWord(controller.wrapperName())));
        return kNotDone;
    }
    const auto chosen = chosenTasks(*wrapper, options);
    if (!chosen) {
        complain(chosen.error().text);
        return kWrongUse;
    }
    auto tasks = tasksToRun(controller, *chosen);
    if (const auto status = checkBeforeServing(controller, tasks, options); !status) {
        complain(status.error().text);
        return kNotDone;
    }
    const auto lock = controller.lockForRunning();
    if (lock->isTaken()) {
        complain(fmt::format("{} is being run by another trelkind.", controller.wrapperName()));
        return kNotDone;
    }
    return ServedRun(*wrapper, options, std::move(*machine), std::move(tasks)).run();
}
