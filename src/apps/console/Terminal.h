#pragma once

#include <string>
#include <string_view>

// What kind of thing standard output is, and how words are coloured on it.
namespace terminal {

struct Size {
    int columns = 80;
    int rows = 24;
};

class Output {
public:
    // Standard output as it was found at the start.
    static const Output& standard();

    bool isTerminal = false; // And one that understands moving the cursor.
    bool hasColors = false; // A terminal, and nobody set NO_COLOR.
    bool hasUnicode = false; // The locale can show block elements.
    Size size() const; // Now: a window may change.

    enum class Color { None, Green, Yellow, Red, Cyan, Dim, Bold };
    std::string colored(Color color, std::string_view text) const;
};

// Writes everything to standard output at once. False when it can't be written (a closed pipe, a full disk).
bool write(std::string_view text);

} // namespace terminal
