#pragma once

#include <cstddef>
#include <string>

// The length in bytes of the UTF-8 character that begins at that place of the text; 0 if none does.
std::size_t SVCharacterLength(const std::string& text, std::size_t place);

// The text on one line, without effect on a terminal: "\n", "\t", "\r" and "\xHH" for control characters and
// for bytes that are not UTF-8.
std::string SVPrintable(const std::string& text);
