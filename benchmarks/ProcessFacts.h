#pragma once

#include <fstream>
#include <string>

// The number behind a word in a file of /proc, such as "VmHWM" in /proc/self/status; 0 without it.
inline double factOf(const std::string& path, const std::string& word)
{
    std::ifstream facts(path);
    for (std::string found; facts >> found;)
        if (double number = 0; found == word + ":" && facts >> number)
            return number;
    return 0;
}
