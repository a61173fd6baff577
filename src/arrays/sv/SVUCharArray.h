#pragma once

// SVUCharArray and SVMutableUCharArray: arrays of unsigned 8-bit numbers.

#include "arrays/sv/SVArray.h" // IWYU pragma: export
