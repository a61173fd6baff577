#include "task/engine/BatchCount.h"

#include "platform/files/FileManager.h"
#include "task/single/SVSingleTask.h"
#include "task/single/SVTaskController.h"
#include "task/single/TaskState.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
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

namespace {

// The durations of the tasks that are done, in ascending order.
std::vector<double> durationsOfDone(const SVTaskController& controller)
{
    std::vector<double> durations;
    for (const auto& task : controller.taskInformation())
        if (const auto seconds = task->times().seconds(); seconds && stateOf(*task) == TaskState::Done)
            durations.push_back(*seconds);
    std::sort(durations.begin(), durations.end());
    return durations;
}

// Estimated by the task's own progress, otherwise by the usual duration.
std::optional<double> secondsLeftOf(const SVSingleTask& task, std::optional<double> usual)
{
    const double gone = task.times().seconds().value_or(0);
    const double share = task.taskFraction() / 100;
    if (share > 0)
        return gone * (1 - share) / share;
    return usual ? std::optional(std::max(0.0, *usual - gone)) : std::nullopt;
}

} // namespace

std::optional<double> secondsLeft(const SVTaskController& controller, int concurrency)
{
    const auto durations = durationsOfDone(controller);
    std::optional<double> usual;
    if (!durations.empty())
        usual =
            std::accumulate(durations.begin(), durations.end(), 0.0) / static_cast<double>(durations.size());
    double work = 0;
    double longest = 0;
    bool isAnythingLeft = false;
    for (const auto& task : controller.taskInformation()) {
        const TaskState state = stateOf(*task);
        if (state != TaskState::Waiting && state != TaskState::Running)
            continue;
        isAnythingLeft = true;
        const auto left = state == TaskState::Running ? secondsLeftOf(*task, usual) : usual;
        if (!left)
            return std::nullopt;
        work += *left;
        longest = std::max(longest, *left);
    }
    if (!isAnythingLeft)
        return std::nullopt;
    return std::max(longest, work / std::max(1, concurrency));
}

OddOnes OddOnes::of(const SVTaskController& controller)
{
    constexpr std::size_t kFewest = 3; // With fewer tasks no duration is usual.
    constexpr double kBriefShare = 0.1;
    constexpr double kSecondsWorthNoting = 5; // Some file systems store whole seconds.
    const auto durations = durationsOfDone(controller);
    OddOnes odd;
    if (durations.size() < kFewest)
        return odd;
    const double usual = durations[durations.size() / 2];
    std::size_t withOutput = 0;
    for (const auto& task : controller.taskInformation()) {
        if (stateOf(*task) != TaskState::Done || task->hasFailed())
            continue;
        const int number = task->numberInProject() + 1;
        if (usual >= kSecondsWorthNoting && task->times().seconds().value_or(usual) < kBriefShare * usual)
            odd.brief.push_back(number);
        if (platform::files::size(task->folderName() + "/runOutput").value_or(0) > 0)
            ++withOutput;
        else
            odd.silent.push_back(number);
    }
    if (withOutput < odd.silent.size()) // A program that prints nothing is normal.
        odd.silent.clear();
    return odd;
}
