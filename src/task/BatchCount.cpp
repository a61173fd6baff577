#include "task/BatchCount.h"

#include "task/SVSingleTask.h"
#include "task/SVTaskController.h"
#include "task/TaskState.h"

#include <fmt/format.h>

#include <utility>

BatchCount BatchCount::of(const SVTaskController& controller)
{
    BatchCount count;
    for (const auto& task : controller.taskInformation()) {
        const TaskState state = stateOf(*task);
        ++(state == TaskState::Done           ? count.done
                : state == TaskState::Aborted ? count.aborted
                : task->taskHasStarted()      ? count.running
                                              : count.waiting);
        ++count.total;
        count.failed += task->hasFailed();
        count.percentage += task->taskFraction();
    }
    count.percentage = count.total == 0 ? 100 : count.percentage / count.total;
    return count;
}

std::string BatchCount::sentence() const
{
    std::string text = fmt::format("{} of {} done", done, total);
    for (const auto& [number, word] :
        {std::pair(running, "running"), {waiting, "waiting"}, {aborted, "aborted"}, {failed, "failed"}})
        if (number > 0)
            text += fmt::format(", {} {}", number, word);
    return text;
}
