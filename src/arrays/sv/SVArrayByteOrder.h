#pragma once

#include "arrays/sv/SVArray.h"
#include "arrays/sv/SVArrayOperationTable.h"

// Swap the byte order in place.

// Of each element.
template <class T, SVOnlyIf<SVArrayHas<T>(SVArrayOperation::SwapEndian)> = 0>
void SwapEndian(SVMutableArray<T>& M);

// Of each group of bytes. A first dimension that is no multiple of the group is reported and changes nothing.
void Swap2Bytes(SVMutableUCharArray& M);
void Swap4Bytes(SVMutableUCharArray& M);
void Swap8Bytes(SVMutableUCharArray& M);
