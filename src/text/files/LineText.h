#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// How many bytes at the end of a text belong to a character of UTF-8 that was cut there.
std::size_t tornAtEnd(std::string_view text);

// The text itself if it is UTF-8, else what it says in the western Mac character set. Any thread.
std::string decodedLine(std::string bytes);
