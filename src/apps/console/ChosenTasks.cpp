#include "apps/console/ChosenTasks.h"

#include "task/wrapper/TaskNumbers.h"

#include <fmt/format.h>

#include <vector>

platform::Result<std::optional<std::set<int>>> chosenTasks(OpenWrapper& wrapper, const RunOptions& options)
{
    const auto& tasks = wrapper.controller().taskInformation();
    if (options.tasks.empty() && !options.failed)
        return std::optional<std::set<int>>();
    std::set<int> chosen;
    if (options.failed) {
        for (const auto& task : tasks)
            if (task->hasFailed())
                chosen.insert(task->numberInProject());
        return std::optional(chosen);
    }
    const auto numbers = taskNumbers(options.tasks, static_cast<int>(tasks.size()));
    if (!numbers)
        return numbers.error();
    std::vector<int> startedBefore;
    for (const int number : *numbers) {
        chosen.insert(number - 1);
        if (!tasks[static_cast<std::size_t>(number - 1)]->taskShouldBeRun())
            startedBefore.push_back(number);
    }
    if (!startedBefore.empty())
        complain(fmt::format("Not run again until they are cleared, because they were started before: {}.",
            numberRanges(startedBefore)));
    return std::optional(chosen);
}
