#pragma once

#include "arrays/legacy/KRArray.h"
#include "arrays/sv/SVRange.h"
#include "diagnostics/KRProgressCPP.h"

// Smoothing filters on images (m x n) and volumes (m x n x o).
//
// Each writes into a target of the source's dimensions, which may be the source itself. False means that the
// dimensions don't fit, and then the target is untouched; or that the user has aborted, and then part of it
// is written. Nothing is reported but a lack of memory, which also gives false. Progress is told from 0 to 1.
// A filter works on the calling thread and holds no lock; several may run at once on different targets.
//
// The functions without 2D or 3D in their names look at o: 1 is an image, anything else a volume.

// The mean over 3 x 3 (x 3) entries, fewer at the boundaries: their sum in the order of memory, in the
// element's precision, times a factor of single precision. Each dimension in use must be 2 or more. For float
// and double.
template <KRRealElement T>
bool MeanFilter(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress = {});
template <KRRealElement T>
bool MeanFilter2D(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress = {});
template <KRRealElement T>
bool MeanFilter3D(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress = {});

// The median over the same entries; of an even number the upper one of the two in the middle. A NaN among the
// entries gives a NaN. For float and std::uint16_t.
template <class T>
concept KRMedianElement = std::is_same_v<T, float> || std::is_same_v<T, std::uint16_t>;
template <KRMedianElement T>
bool MedianFilter(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress = {});
template <KRMedianElement T>
bool MedianFilter2D(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress = {});
template <KRMedianElement T>
bool MedianFilter3D(const KRArray<T>& A, KRMutableArray<T>& M, const KRProgressCPP& progress = {});

// A Gaussian of 5 entries along each axis in turn, integrated over each entry; sigma counts in entries. At a
// boundary the array goes on as its mirror image, with the first entry repeated. Everything between source
// and target is in double precision. Each dimension in use must be 3 or more.
bool GaussianSmoothing5pt(
    double sigma, const FloatArray& A, MutableFloatArray& M, const KRProgressCPP& progress = {});
bool GaussianSmoothing5pt2D(
    double sigma, const FloatArray& A, MutableFloatArray& M, const KRProgressCPP& progress = {});
bool GaussianSmoothing5pt3D(
    double sigma, const FloatArray& A, MutableFloatArray& M, const KRProgressCPP& progress = {});
bool GaussianSmoothing2D(const FloatArray& A, double sigma, MutableFloatArray& M);

// The three passes over a volume, along the first, the second and the third index. In this order they are
// GaussianSmoothing5pt3D().
bool GaussianSmoothing5pt3D_1(
    double sigma, const FloatArray& A, MutableDoubleArray& M, const KRProgressCPP& progress = {});
bool GaussianSmoothing5pt3D_2(
    double sigma, const DoubleArray& A, MutableDoubleArray& M, const KRProgressCPP& progress = {});
bool GaussianSmoothing5pt3D_3(
    double sigma, const DoubleArray& A, MutableFloatArray& M, const KRProgressCPP& progress = {});

// The same for the layers of a range of the target, so that threads can share a volume. A pass may begin when
// the one before has ended; the third reads two layers beyond the range on each side. The target can't be the
// source. False if the layers don't lie in the volume.
bool GaussianSmoothing3D_1(double sigma, const FloatArray& A, MutableDoubleArray& M, const SVRange& layers);
bool GaussianSmoothing3D_2(double sigma, const DoubleArray& A, MutableDoubleArray& M, const SVRange& layers);
bool GaussianSmoothing3D_3(double sigma, const DoubleArray& A, MutableFloatArray& M, const SVRange& layers);
