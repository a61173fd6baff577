#pragma once

#include <string>

namespace variables {

// An interval for people: "[min,max]" with as many digits, 3 to 15, as show its width.
std::string intervalText(double min, double max);
// The same with "inf" and "-inf" for ends that aren't finite.
std::string openIntervalText(double min, double max);

} // namespace variables
