#pragma once

#include <fstream>
#include <string>
#include <sys/resource.h>

// The number behind a word in a file of /proc, such as "VmHWM" in /proc/self/status; 0 without it.
inline double factOf(const std::string& path, const std::string& word)
{
    std::ifstream facts(path);
    for (std::string found; facts >> found;)
        if (double number = 0; found == word + ":" && facts >> number)
            return number;
    return 0;
}

// Of this process so far, its own and the system's for it.
inline double ownProcessorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}
