#pragma once

// SVIntArray and SVMutableIntArray: arrays of signed 32-bit numbers.

#include "arrays/sv/SVArray.h" // IWYU pragma: export
