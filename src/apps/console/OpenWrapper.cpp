#include "apps/console/OpenWrapper.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"

#include <fmt/format.h>

namespace files = platform::files;

std::optional<std::string> whyNoWrapper(const std::string& path)
{
    if (!files::exists(path))
        return fmt::format("{} does not exist.", path);
    if (!files::isDirectory(path))
        return fmt::format("{} is not a folder; a task wrapper is a folder whose name ends in .vtask.", path);
    if (platform::paths::lowercaseExtension(path) != "vtask")
        return fmt::format("{} is not a task wrapper: its name does not end in .vtask.", path);
    if (!files::contentsOfDirectory(path))
        return fmt::format("{} can not be read.", path);
    return std::nullopt;
}

std::unique_ptr<OpenWrapper> OpenWrapper::open(const std::string& path)
{
    const std::string wrapper = platform::paths::absolute(path);
    if (const auto reason = whyNoWrapper(wrapper)) {
        complain(*reason);
        return nullptr;
    }
    std::unique_ptr<OpenWrapper> opened(new OpenWrapper);
    opened->application_.awakeFromNib();
    opened->application_.setGoesOnWithBatches(false);
    opened->controller_ = opened->application_.openTaskWithName(wrapper);
    platform::MainLoop::main().runPending();
    return opened;
}

OpenWrapper::~OpenWrapper()
{
    application_.sorvanta().sendBeforeTheEnd();
}

std::shared_ptr<SVSingleTask> OpenWrapper::task(int numberShown)
{
    const auto& tasks = controller_->taskInformation();
    const auto index = static_cast<std::size_t>(numberShown) - 1;
    if (numberShown >= 1 && index < tasks.size())
        return tasks[index];
    complain(tasks.empty() ? fmt::format("There is no task {}: the wrapper has no tasks.", numberShown)
                           : fmt::format("There is no task {}: the tasks of this wrapper are 1 to {}.",
                               numberShown, tasks.size()));
    return nullptr;
}

std::shared_ptr<SVSingleTask> OpenWrapper::selectTask(int numberShown)
{
    auto found = task(numberShown);
    if (found)
        views().taskList.selectRows({numberShown - 1});
    return found;
}
