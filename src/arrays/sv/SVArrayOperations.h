#pragma once

// Every operation on whole arrays.

#include "arrays/sv/SVArrayByteOrder.h" // IWYU pragma: export
#include "arrays/sv/SVArrayConversion.h" // IWYU pragma: export
#include "arrays/sv/SVArrayCopying.h" // IWYU pragma: export
#include "arrays/sv/SVArrayExtraction.h" // IWYU pragma: export
#include "arrays/sv/SVArrayMeasures.h" // IWYU pragma: export
#include "arrays/sv/SVArrayShape.h" // IWYU pragma: export
#include "arrays/sv/SVArraySorting.h" // IWYU pragma: export
#include "arrays/sv/SVIntArrayArithmetic.h" // IWYU pragma: export
