#pragma once

#include <complex>

namespace svinternal {

// Writes the elements of an m x n x o block, the first index running fastest, with their indices in reverse
// order: (i,j,k) goes to (k,j,i) of o x n x m; with o = 1 that is (i,j) to (j,i) of n x m. The blocks must
// not overlap. Defined for double, float, std::complex<double> and the integers of 8 to 64 bits, but for
// std::uint32_t.
template <class T>
void transpose(const T* from, long m, long n, long o, T* to);
template <>
void transpose(const std::complex<double>* from, long m, long n, long o, std::complex<double>* to);

} // namespace svinternal
