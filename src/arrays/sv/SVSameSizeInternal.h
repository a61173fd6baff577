#pragma once

// Not for programs. It includes no array class, so that SVArray.cpp can use it as well as the operations.

namespace svinternal {

// Whether two arrays have the same dimensions. Their element types may differ.
template <class First, class Second>
bool sameSize(const First& A, const Second& B)
{
    return A.m() == B.m() && A.n() == B.n() && A.o() == B.o();
}

} // namespace svinternal
