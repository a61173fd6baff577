#pragma once

#include <string>
#include <string_view>

// Properties of standard output, and colored text.
namespace terminal {

struct Size {
    int columns = 80;
    int rows = 24;
};

class Output {
public:
    // Standard output as it was when the program started.
    static const Output& standard();

    bool isTerminal = false; // A terminal that can move the cursor.
    bool hasColors = false; // A terminal, and NO_COLOR is not set.
    bool hasUnicode = false; // The locale can show block elements.
    Size size() const; // The current size; a window may be resized.

    enum class Color { None, Green, Yellow, Red, Cyan, Dim, Bold };
    std::string colored(Color color, std::string_view text) const;
};

// Writes all of the text to standard output. False when it can't be written (a closed pipe, a full disk).
bool write(std::string_view text);

} // namespace terminal
