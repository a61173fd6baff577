#include "apps/console/BatchDisplay.h"

#include "apps/console/TerminalText.h"

#include <fmt/format.h>

BatchDisplay::BatchDisplay(OpenWrapper& wrapper, bool json)
    : wrapper_(wrapper), progress_(wrapper.controller()), live_(terminal::Output::standard()), silent_(json)
{
    for (const auto& task : wrapper.controller().taskInformation())
        words_.push_back(statusWord(*task).first);
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
            "{}, {} elapsed", progress_.sentence(progress_.count()), terminal::elapsed(seconds())));
}

void BatchDisplay::writeChanges()
{
    const auto& tasks = wrapper_.controller().taskInformation();
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        std::string word = statusWord(*tasks[i]).first;
        if (word == words_[i])
            continue;
        words_[i] = std::move(word);
        say(fmt::format("{:>8}  task {}: {}", terminal::elapsed(seconds()), i + 1, words_[i]));
    }
}
