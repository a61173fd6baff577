#pragma once

#include <string>

// A text as one word of a POSIX shell's command line: as it is, or in single quotes where a character of it
// means something to the shell.
std::string shellWord(const std::string& text);
