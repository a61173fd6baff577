#pragma once

#include <string>

// Quotes a text as one word of a POSIX shell. A text without shell characters is returned unchanged.
std::string shellWord(const std::string& text);
