#pragma once

// SVFloatArray and SVMutableFloatArray: arrays of single precision numbers, 4 bytes each.

#include "arrays/sv/SVArray.h" // IWYU pragma: export
