#pragma once

// SVDoubleArray and SVMutableDoubleArray: arrays of double precision numbers, 8 bytes each.

#include "arrays/sv/SVArray.h" // IWYU pragma: export
