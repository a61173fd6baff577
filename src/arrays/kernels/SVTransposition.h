#pragma once

namespace svinternal {

// Writes the elements of an m x n x o block, the first index running fastest, with their indices in reverse
// order: (i,j,k) goes to (k,j,i) of o x n x m; with o = 1 that is (i,j) to (j,i) of n x m. The blocks must
// not overlap. Defined for double, float, std::int32_t, std::int16_t, std::uint16_t, signed char and unsigned
// char.
template <class T>
void transpose(const T* from, long m, long n, long o, T* to);

} // namespace svinternal
