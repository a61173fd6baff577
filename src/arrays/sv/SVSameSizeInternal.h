#pragma once

// Internal. It includes no array class, so that both SVArray.cpp and the operations can use it.

namespace svinternal {

// Whether two arrays have the same dimensions. Their element types may differ.
template <class First, class Second>
bool sameSize(const First& A, const Second& B)
{
    return A.m() == B.m() && A.n() == B.n() && A.o() == B.o();
}

} // namespace svinternal
