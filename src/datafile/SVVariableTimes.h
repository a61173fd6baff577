#pragma once

#include <cmath>
#include <string>
#include <vector>

// A sentence about why a time can't follow those before it; empty if it can. A reader takes rising times from
// 0 on, and makes up the rest where they fall.
inline std::string SVFaultOfTime(double time, const std::vector<double>& before)
{
    if (!std::isfinite(time))
        return "The time is no finite number.";
    if (time < 0)
        return "The time is negative.";
    return before.empty() || time > before.back() ? std::string() : "The time is not above the one before.";
}
