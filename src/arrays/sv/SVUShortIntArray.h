#pragma once

// SVUShortIntArray and SVMutableUShortIntArray: arrays of unsigned 16-bit numbers.

#include "arrays/sv/SVArray.h" // IWYU pragma: export
