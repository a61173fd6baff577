#pragma once

#include "diagnostics/KRProgressEntry.h"

#include <string>

namespace variables {

// Names the present step. An entry that belongs to a variable takes a format, with the variable's name in
// front.
inline void describe(KRProgressEntry& progress, const std::string& step)
{
    progress.updateDescription(progress.variableNameSpecified() ? "%@ " + step : step);
}

} // namespace variables
