#pragma once

#include <string>

// Removes the bytes of a character that was cut at the end of the text, if it is UTF-8.
void cutAtCharacter(std::string& bytes);

// The text itself if it is UTF-8, else what it says in the western Mac character set. Any thread.
std::string decodedLine(std::string bytes);
