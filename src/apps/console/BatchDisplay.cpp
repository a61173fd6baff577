#include "apps/console/BatchDisplay.h"

#include "apps/console/TaskTable.h"
#include "apps/console/TerminalScreen.h"
#include "apps/console/TerminalText.h"
#include "task/engine/BatchCount.h"

#include <fmt/format.h>

#include <utility>

BatchDisplay::BatchDisplay(OpenWrapper& wrapper, Kind kind, std::function<int()> concurrency,
    std::function<std::vector<std::string>()> above)
    : wrapper_(wrapper), progress_(wrapper.controller()), concurrency_(std::move(concurrency)),
      above_(std::move(above)), isSilent_(kind == Kind::Silent),
      isLive_(terminal::Output::standard().isTerminal && terminal::hasSecondScreen())
{
    for (const auto& task : wrapper.controller().taskInformation())
        states_.push_back(stateOf(*task));
    wrapper.messages().beforeWriting = [this] { live_.leave(); };
    wrapper.messages().whenWritten = [this](const std::string& sentence) { notices_.push_back(sentence); };
}

BatchDisplay::~BatchDisplay()
{
    wrapper_.messages().beforeWriting = nullptr;
    wrapper_.messages().whenWritten = nullptr;
}

void BatchDisplay::write(const std::string& text)
{
    live_.leave();
    if (!terminal::write(text))
        isSilent_ = true;
}

void BatchDisplay::update()
{
    wrapper_.application().tryToConnectToSorvanta(); // Finds a companion that was started meanwhile.
    if (isSilent_)
        return;
    if (isLive_)
        live_.show(
            progress_.lines(terminal::Output::standard().size(), progress_.total(seconds(), concurrency_()),
                notices_, above_ ? above_() : std::vector<std::string>()));
    else
        writeChanges();
}

void BatchDisplay::say(const std::string& sentence)
{
    notices_.push_back(sentence);
    live_.leave();
    complain(sentence);
}

void BatchDisplay::show(const std::string& lines)
{
    if (!isSilent_)
        write(terminal::printable(lines));
}

void BatchDisplay::terminalHasGone()
{
    if (terminal::Output::standard().isTerminal)
        isSilent_ = true;
}

void BatchDisplay::finish()
{
    live_.leave();
    if (isSilent_)
        return;
    if (isLive_)
        write(taskTable(wrapper_).text(terminal::Output::standard().size().columns));
    else
        writeChanges();
    write(fmt::format(
        "{}, {} elapsed\n", BatchCount::of(wrapper_.controller()).sentence(), elapsedText(seconds())));
}

void BatchDisplay::writeChangesAbove()
{
    auto lines = above_ ? above_() : std::vector<std::string>();
    for (std::size_t i = 0; i < lines.size() && !isSilent_; ++i)
        if (!lines[i].empty() && (i >= lastAbove_.size() || lines[i] != lastAbove_[i]))
            write(fmt::format("{:>8}  {}\n", elapsedText(seconds()), lines[i]));
    lastAbove_ = std::move(lines);
}

void BatchDisplay::writeChanges()
{
    writeChangesAbove();
    const auto& tasks = wrapper_.controller().taskInformation();
    for (std::size_t i = 0; i < tasks.size() && !isSilent_; ++i) {
        const TaskState state = stateOf(*tasks[i]);
        if (std::exchange(states_[i], state) == state)
            continue;
        const std::string failure = tasks[i]->hasFailed()
            ? fmt::format(", but failed: {}", tasks[i]->exitStatus()->text())
            : std::string();
        write(fmt::format("{:>8}  task {}: {}{}\n", elapsedText(seconds()), i + 1, wordFor(state), failure));
    }
}
