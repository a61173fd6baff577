#pragma once

#include <string>
#include <string_view>

// Text on a terminal, measured in columns. UTF-8 everywhere; what isn't UTF-8 or can't be printed counts and
// shows as one replacement character, which the locale's terminal can show.
namespace terminal {

int columnsOf(std::string_view text);
// Words of any length for a terminal, which a name in them must not command: what can't be printed is
// replaced, but for line ends and tabs.
std::string printable(std::string_view text);
// The text made fit for one cell of a line: control characters replaced, cut with an ellipsis when it is too
// wide.
std::string fitted(std::string_view text, int columns);
std::string padded(std::string_view text, int columns); // fitted() and filled up on the right.
std::string paddedLeft(std::string_view text, int columns); // fitted() and filled up on the left.

// A bar of so many columns, filled to a percentage from 0 to 100.
std::string bar(double percentage, int columns, bool unicode);

} // namespace terminal
