#include "apps/console/BatchChecks.h"

#include "apps/console/ExecutableCheck.h"
#include "apps/console/MessagePrinter.h"
#include "platform/files/FileManager.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

constexpr int kMostRanges = 20;

namespace files = platform::files;

} // namespace

std::optional<std::string> whyNotRunnable(const KRTrelkindController& controller)
{
    const std::string& wrapper = controller.wrapperName();
    const auto& tasks = controller.taskInformation();
    if (tasks.empty())
        return fmt::format("{} has no tasks.", wrapper);
    const auto isEligible = [](const auto& task) { return task->taskShouldBeRun(); };
    if (std::none_of(tasks.begin(), tasks.end(), isEligible))
        return std::nullopt;
    if (!controller.executable())
        return fmt::format("{} names no executable in its Executable.plist.", wrapper);
    if (auto reason = whyNotExecutable(fmt::format("{}/MacOSX/{}", wrapper, *controller.executable())))
        return reason;
    for (const auto& task : tasks)
        if (isEligible(task) && files::isDirectory(task->folderName()))
            return whyNotWritable(task->folderName());
    return std::nullopt;
}

void tellOfMissingFolders(const KRTrelkindController& controller)
{
    for (const auto& task : controller.taskInformation())
        if (task->taskShouldBeRun() && !files::isDirectory(task->folderName()))
            complain(fmt::format("The run folder {} {}.", task->folderName(),
                files::exists(task->folderName()) ? "is not a folder" : "does not exist"));
}

void tellOfStaleTasks(const KRTrelkindController& controller)
{
    std::vector<int> stale;
    for (const auto& task : controller.taskInformation())
        if (task->taskHasStarted() && !task->taskHasFinished() && !task->taskWasAborted())
            stale.push_back(task->numberInProject() + 1);
    if (!stale.empty())
        complain(fmt::format(
            "Tasks that an earlier session started and that may have died with it: {}. If they no "
            "longer run, \"trelkind clear\" with their numbers lets them be run again.",
            numberRanges(stale)));
}

std::string numberRanges(const std::vector<int>& numbers)
{
    std::string text;
    int ranges = 0;
    for (std::size_t first = 0; first < numbers.size(); ++ranges) {
        if (ranges == kMostRanges)
            return text + fmt::format(" and {} more", numbers.size() - first);
        std::size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1)
            ++last;
        text += fmt::format("{}{}", text.empty() ? "" : ", ", numbers[first]);
        if (last > first)
            text += fmt::format("-{}", numbers[last]);
        first = last + 1;
    }
    return text;
}
