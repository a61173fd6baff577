#pragma once

// SVShortIntArray and SVMutableShortIntArray: arrays of signed 16-bit numbers.

#include "arrays/sv/SVArray.h" // IWYU pragma: export
