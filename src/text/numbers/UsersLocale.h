#pragma once

#include <cstdint>
#include <locale>
#include <string>

// The locale that the user's environment names, or the C locale where this machine doesn't have it. Taken
// once in a process. Any thread.
const std::locale& usersLocale();

// The number with the digit groups of that locale.
std::string inUsersGroups(std::int64_t number);
