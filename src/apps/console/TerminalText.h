#pragma once

#include <string>
#include <string_view>

// Text on a terminal, measured in columns. Texts are UTF-8. Each byte that isn't UTF-8 and each character
// that can't be printed is shown as one replacement character of the user's locale.
namespace terminal {

int columnsOf(std::string_view text);
// Replaces what can't be printed except line ends and tabs, so that a name in the text can't control the
// terminal.
std::string printable(std::string_view text);
// The text for a cell of that width: control characters replaced, and cut with an ellipsis when it is too
// wide.
std::string fitted(std::string_view text, int columns);
std::string padded(std::string_view text, int columns); // fitted(), filled up on the right.
std::string paddedLeft(std::string_view text, int columns); // fitted(), filled up on the left.

// A progress bar of that width, for a percentage from 0 to 100.
std::string bar(double percentage, int columns, bool unicode);

} // namespace terminal
