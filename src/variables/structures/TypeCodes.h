#pragma once

#include <string>

namespace variables {

// The type name that a writer's type code stands for; "Unknown" for a code that isn't in the table, with
// digits behind the point left out.
std::string typeForCode(double code);

} // namespace variables
