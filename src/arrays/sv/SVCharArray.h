#pragma once

// SVCharArray and SVMutableCharArray: arrays of signed 8-bit numbers.

#include "arrays/sv/SVArray.h" // IWYU pragma: export
