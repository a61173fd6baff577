#pragma once

#include "arrays/sv/SVIntArray.h"

// Whole-array arithmetic on integers, entry by entry, as new arrays. Arrays of different dimensions are
// reported and give an empty array. A result that doesn't fit 32 bits wraps around; a division by 0 gives 0.

SVMutableIntArray operator+(const SVIntArray& A, const SVIntArray& B);
SVMutableIntArray operator-(const SVIntArray& A, const SVIntArray& B);
SVMutableIntArray operator*(const SVIntArray& A, const SVIntArray& B);
SVMutableIntArray operator/(const SVIntArray& A, const SVIntArray& B);

SVMutableIntArray operator+(const SVIntArray& A, int b);
SVMutableIntArray operator-(const SVIntArray& A, int b);
SVMutableIntArray operator*(const SVIntArray& A, int b);
SVMutableIntArray operator/(const SVIntArray& A, int b);

SVMutableIntArray operator+(int a, const SVIntArray& B);
SVMutableIntArray operator-(int a, const SVIntArray& B);
SVMutableIntArray operator*(int a, const SVIntArray& B);
SVMutableIntArray operator/(int a, const SVIntArray& B);

SVMutableIntArray operator-(const SVIntArray& A);
