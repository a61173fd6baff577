#include "apps/console/BatchDisplay.h"

#include "apps/console/TerminalText.h"
#include "task/BatchCount.h"

#include <fmt/format.h>

#include <utility>

BatchDisplay::BatchDisplay(OpenWrapper& wrapper, bool json)
    : wrapper_(wrapper), progress_(wrapper.controller()), live_(terminal::Output::standard()), silent_(json)
{
    for (const auto& task : wrapper.controller().taskInformation())
        states_.push_back(stateOf(*task));
    wrapper.messages().beforeWriting = [this] { live_.clear(); };
}

BatchDisplay::~BatchDisplay()
{
    wrapper_.messages().beforeWriting = nullptr;
}

void BatchDisplay::update()
{
    if (silent_)
        return;
    if (terminal::Output::standard().isTerminal) {
        const auto lines = progress_.lines(terminal::Output::standard().size(), seconds());
        live_.show(lines.texts, lines.columns);
    } else {
        writeChanges();
    }
}

void BatchDisplay::say(const std::string& sentence)
{
    if (silent_)
        return;
    live_.clear();
    if (!terminal::write(sentence + "\n"))
        silent_ = true;
}

void BatchDisplay::terminalHasGone()
{
    if (terminal::Output::standard().isTerminal)
        silent_ = true;
}

void BatchDisplay::finish()
{
    update();
    live_.finish();
    if (!terminal::Output::standard().isTerminal)
        say(fmt::format(
            "{}, {} elapsed", BatchCount::of(wrapper_.controller()).sentence(), elapsedText(seconds())));
}

void BatchDisplay::writeChanges()
{
    const auto& tasks = wrapper_.controller().taskInformation();
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        const TaskState state = stateOf(*tasks[i]);
        if (std::exchange(states_[i], state) != state)
            say(fmt::format("{:>8}  task {}: {}", elapsedText(seconds()), i + 1, wordFor(state)));
    }
}
