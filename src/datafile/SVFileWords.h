#pragma once

// Texts of reports that more than one source uses.

inline constexpr const char* kSVTooFewValues = "Could not read the required number of values from the file";
