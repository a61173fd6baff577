#include "apps/console/BatchProgress.h"

#include "apps/console/TerminalText.h"
#include "task/BatchCount.h"
#include "task/SVSingleTask.h"
#include "task/TaskState.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using Color = terminal::Output::Color;

constexpr int kStatusColumns = 8;
constexpr int kPercentColumns = 4;
constexpr int kWidestBar = 30;
constexpr int kWidestArgument = 40;
constexpr int kLinesBesideTasks = 2; // The total, and the line that the cursor stands on.

bool isActive(const SVSingleTask& task)
{
    return task.taskHasStarted() && !task.taskHasFinished() && !task.taskWasAborted();
}

Color colorFor(TaskState state)
{
    switch (state) {
    case TaskState::Done:
        return Color::Green;
    case TaskState::Aborted:
        return Color::Red;
    case TaskState::Running:
    case TaskState::Checking:
        return Color::Cyan;
    case TaskState::Waiting:
        break;
    }
    return Color::Dim;
}

std::string shownPercentage(double percentage)
{
    return terminal::paddedLeft(fmt::format("{:.0f}%", percentage), kPercentColumns);
}

} // namespace

int BatchProgress::numberColumns() const
{
    return static_cast<int>(fmt::formatted_size("{}", controller_.taskInformation().size()));
}

std::string BatchProgress::taskLine(int number, int columns) const
{
    const auto& output = terminal::Output::standard();
    const SVSingleTask& task = *controller_.taskInformation()[static_cast<std::size_t>(number)];
    const TaskState state = stateOf(task);
    const char* const word = wordFor(state);
    const std::string shownNumber = terminal::paddedLeft(fmt::format("{}", number + 1), numberColumns());
    const std::string status = terminal::padded(word, kStatusColumns);
    int room = columns - numberColumns() - kStatusColumns - kPercentColumns - 6;
    if (room < 4) // Too narrow for anything but words.
        return terminal::fitted(
            fmt::format("{} {} {}", shownNumber, word, shownPercentage(task.taskFraction())), columns);

    const int argumentColumns = std::min(kWidestArgument, std::max(room - kWidestBar, room / 3));
    const int barColumns = std::min(kWidestBar, room - argumentColumns);
    const bool withBar = isActive(task);
    const std::string bar = withBar ? terminal::bar(task.taskFraction(), barColumns, output.hasUnicode)
                                    : std::string(static_cast<std::size_t>(barColumns), ' ');
    const std::string percentage = task.taskHasStarted() && !task.taskWasAborted()
        ? shownPercentage(task.taskFraction())
        : std::string(kPercentColumns, ' ');
    return fmt::format("{}  {}  {} {} {}", shownNumber, output.colored(colorFor(state), status),
        output.colored(withBar ? Color::Cyan : Color::None, bar), percentage,
        output.colored(Color::Dim, terminal::padded(task.argument(), argumentColumns)));
}

std::vector<int> BatchProgress::tasksThatFit(int rows) const
{
    const auto& tasks = controller_.taskInformation();
    std::vector<int> numbers;
    if (static_cast<int>(tasks.size()) <= rows) {
        for (const auto& task : tasks)
            numbers.push_back(task->numberInProject());
        return numbers;
    }
    // Those that run first; then those that come next, and then the last ones that are over.
    const auto take = [&](auto wanted, auto first, auto last) {
        for (auto task = first; task != last && static_cast<int>(numbers.size()) < rows; ++task)
            if (wanted(**task))
                numbers.push_back((*task)->numberInProject());
    };
    const auto waits = [](const SVSingleTask& task) { return task.taskShouldBeRun(); };
    const auto isOver = [](const SVSingleTask& task) { return !task.taskShouldBeRun() && !isActive(task); };
    take(isActive, tasks.begin(), tasks.end());
    take(waits, tasks.begin(), tasks.end());
    take(isOver, tasks.rbegin(), tasks.rend());
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

BatchProgress::Lines BatchProgress::lines(terminal::Size window, double secondsElapsed) const
{
    const auto& output = terminal::Output::standard();
    const int columns = std::max(1, window.columns - 1); // A full line would move the cursor to the next.
    Lines lines;
    for (const int number : tasksThatFit(std::max(0, window.rows - kLinesBesideTasks))) {
        lines.texts.push_back(taskLine(number, columns));
        lines.columns.push_back(columns);
    }
    const BatchCount count = BatchCount::of(controller_);
    const std::string words = fmt::format("{}  {}", count.sentence(), elapsedText(secondsElapsed));
    const int barColumns = std::min(kWidestBar, columns - terminal::columnsOf(words) - kPercentColumns - 3);
    std::string total = barColumns >= 8
        ? fmt::format("{} {}  {}", terminal::bar(count.percentage, barColumns, output.hasUnicode),
            shownPercentage(count.percentage), words)
        : words;
    total = terminal::fitted(total, columns);
    lines.columns.push_back(terminal::columnsOf(total));
    lines.texts.push_back(output.colored(Color::Bold, total));
    return lines;
}
