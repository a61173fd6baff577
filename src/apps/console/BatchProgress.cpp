#include "apps/console/BatchProgress.h"

#include "apps/console/TerminalText.h"
#include "task/engine/BatchCount.h"
#include "task/single/SVSingleTask.h"
#include "task/single/TaskState.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

using Color = terminal::Output::Color;

constexpr int kStatusColumns = 12; // "Done SIGSEGV"
constexpr int kTimeColumns = 7;
constexpr int kNarrowestTotalBar = 8;
constexpr int kPercentColumns = 4;
constexpr int kWidestBar = 30;

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
    const bool hasFailed = task.hasFailed();
    const std::string word = hasFailed ? fmt::format("{} {}", wordFor(state), task.exitStatus()->text())
                                       : std::string(wordFor(state));
    const std::string shownNumber = terminal::paddedLeft(fmt::format("{}", number + 1), numberColumns());
    const int room = columns - numberColumns() - kStatusColumns - kPercentColumns - kTimeColumns - 8;
    if (room < 4) // Too narrow for a bar.
        return terminal::fitted(
            fmt::format("{} {} {}", shownNumber, word, shownPercentage(task.taskFraction())), columns);

    const int barColumns = std::clamp(room / 3, 4, kWidestBar);
    const bool withBar = isActive(task);
    const std::string bar = withBar ? terminal::bar(task.taskFraction(), barColumns, output.hasUnicode)
                                    : std::string(static_cast<std::size_t>(barColumns), ' ');
    const std::string percentage = task.taskHasStarted() && !task.taskWasAborted()
        ? shownPercentage(task.taskFraction())
        : std::string(kPercentColumns, ' ');
    const auto seconds = task.times().seconds();
    return fmt::format("{}  {}  {} {} {}  {}", shownNumber,
        output.colored(hasFailed ? Color::Red : colorFor(state), terminal::padded(word, kStatusColumns)),
        output.colored(withBar ? Color::Cyan : Color::None, bar), percentage,
        terminal::paddedLeft(seconds ? elapsedText(*seconds) : "", kTimeColumns),
        output.colored(Color::Dim, terminal::fitted(task.argument(), room - barColumns)));
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
    // Running tasks first, then the next waiting ones, then the last ones that have ended.
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

// The bar keeps its place and its width whatever the text after it.
std::string BatchProgress::totalLine(const std::string& words, int columns) const
{
    const auto& output = terminal::Output::standard();
    const double percentage = BatchCount::of(controller_).percentage;
    const int barColumns = std::min(kWidestBar, columns / 3);
    const std::string line = barColumns >= kNarrowestTotalBar
        ? fmt::format("{} {}  {}", terminal::bar(percentage, barColumns, output.hasUnicode),
            shownPercentage(percentage), words)
        : words;
    return output.colored(Color::Bold, terminal::fitted(line, columns));
}

std::vector<std::string> BatchProgress::lines(terminal::Size window, const std::string& total,
    const std::vector<std::string>& notices, const std::vector<std::string>& above) const
{
    const int columns = std::max(1, window.columns);
    const int howMany = static_cast<int>(controller_.taskInformation().size());
    const int noticeRows = std::min(static_cast<int>(notices.size()), std::max(0, window.rows / 4));
    const int aboveRows = std::min(static_cast<int>(above.size()), std::max(0, window.rows / 2));
    const int room = std::max(0, window.rows - 1 - noticeRows - aboveRows);
    const bool allFit = howMany <= room;
    std::vector<std::string> lines;
    for (int row = 0; row < aboveRows; ++row)
        lines.push_back(terminal::fitted(above[static_cast<std::size_t>(row)], columns));
    for (const int number : tasksThatFit(allFit ? room : std::max(0, room - 1)))
        lines.push_back(taskLine(number, columns));
    if (!allFit && room > 0)
        lines.push_back(terminal::fitted(
            fmt::format("and {} more", howMany - static_cast<int>(lines.size()) + aboveRows), columns));
    lines.push_back(totalLine(total, columns));
    for (auto notice = notices.end() - noticeRows; notice != notices.end(); ++notice)
        lines.push_back(terminal::fitted(*notice, columns));
    return lines;
}

std::string BatchProgress::total(double secondsElapsed, int concurrency) const
{
    const auto left = secondsLeft(controller_, concurrency);
    return fmt::format("{}  {}{}", BatchCount::of(controller_).sentence(), elapsedText(secondsElapsed),
        left ? fmt::format(", about {} left", elapsedText(*left)) : "");
}
