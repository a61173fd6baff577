#include "apps/console/TerminalText.h"

#include "apps/console/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cwchar>

namespace terminal {

namespace {

std::string_view replacement()
{
    return Output::standard().hasUnicode ? "\uFFFD" : "?";
}

std::string_view ellipsis()
{
    return Output::standard().hasUnicode ? "\u2026" : "~";
}

struct Character {
    std::string_view bytes;
    int columns = 0;
};

// The first character of a non-empty text; -1 columns when it can't be printed.
Character firstCharacter(std::string_view text)
{
    std::mbstate_t state{};
    wchar_t wide = 0;
    const std::size_t length = std::mbrtowc(&wide, text.data(), text.size(), &state);
    if (length == 0 || length > text.size())
        return {text.substr(0, 1), -1};
    return {text.substr(0, length), ::wcwidth(wide)};
}

// Calls visit(bytes to show, columns) for each character until it returns false.
template <class Visit>
void forEachCharacter(std::string_view text, Visit visit)
{
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        text.remove_prefix(character.bytes.size());
        const bool printable = character.columns >= 0;
        if (!visit(printable ? character.bytes : replacement(), printable ? character.columns : 1))
            return;
    }
}

} // namespace

int columnsOf(std::string_view text)
{
    int columns = 0;
    forEachCharacter(text, [&](std::string_view, int width) {
        columns += width;
        return true;
    });
    return columns;
}

std::string printable(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of("\n\t"), text.size());
        forEachCharacter(text.substr(0, end), [&](std::string_view bytes, int) {
            shown += bytes;
            return true;
        });
        shown += text.substr(end, 1);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return shown;
}

std::string fitted(std::string_view text, int columns)
{
    const bool tooWide = columnsOf(text) > columns;
    const int room = tooWide ? columns - 1 : columns;
    std::string shown;
    int used = 0;
    forEachCharacter(text, [&](std::string_view bytes, int width) {
        if (used + width > room)
            return false;
        used += width;
        shown += bytes;
        return true;
    });
    if (tooWide && columns > 0)
        shown += ellipsis();
    return shown;
}

std::string padded(std::string_view text, int columns)
{
    std::string shown = fitted(text, columns);
    shown.append(static_cast<std::size_t>(std::max(0, columns - columnsOf(shown))), ' ');
    return shown;
}

std::string paddedLeft(std::string_view text, int columns)
{
    const std::string shown = fitted(text, columns);
    return std::string(static_cast<std::size_t>(std::max(0, columns - columnsOf(shown))), ' ') + shown;
}

std::string bar(double percentage, int columns, bool unicode)
{
    static constexpr std::array<std::string_view, 8> kEighths{
        "", "\u258F", "\u258E", "\u258D", "\u258C", "\u258B", "\u258A", "\u2589"};
    const double share = std::clamp(percentage, 0.0, 100.0) / 100.0;
    const int steps = unicode ? 8 : 1;
    const int filled = static_cast<int>(std::floor(share * columns * steps));
    std::string shown;
    for (int i = 0; i < filled / steps; ++i)
        shown += unicode ? "\u2588" : "#";
    int used = filled / steps;
    if (const int rest = filled % steps; rest > 0) {
        shown += kEighths[static_cast<std::size_t>(rest)];
        ++used;
    }
    for (; used < columns; ++used)
        shown += unicode ? "\u2591" : ".";
    return shown;
}

} // namespace terminal
