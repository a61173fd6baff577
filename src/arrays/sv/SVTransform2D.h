#pragma once

#include "arrays/sv/SVDoubleArray.h"
#include "arrays/sv/SVFloatArray.h"
#include "arrays/sv/SVPoints.h"

// A transform of the plane: x' = (T11 x + T12 y + S1) / w, y' = (T21 x + T22 y + S2) / w, w = Px x + Py y
// + 1.
class SVTransform2D {
public:
    SVTransform2D() = default; // The identity.
    SVTransform2D(
        double t11, double t12, double s1, double t21, double t22, double s2, double px = 0, double py = 0);

    static SVTransform2D Shift(const SVPoint2D& p);
    static SVTransform2D Scale(double x, double y);

    SVPoint2D operator*(const SVPoint2D& p) const;
    SVVector2D operator*(const SVVector2D& v) const; // Neither shift nor perspective.

    // This transform after the other. If one has perspective, the product has it; two are reported and give
    // the identity.
    SVTransform2D operator*(const SVTransform2D& other) const;

    bool IsPerspective() const { return Px != 0 || Py != 0; }
    bool IsOrthogonal() const; // The rows of (T11 T12; T21 T22) are orthonormal, up to rounding.
    SVTransform2D Inverse() const; // A singular one is divided by 0.

    double T11 = 1;
    double T12 = 0;
    double S1 = 0;
    double T21 = 0;
    double T22 = 1;
    double S2 = 0;
    double Px = 0;
    double Py = 0;
};

SVTransform2D Inverse(const SVTransform2D& T);

// The points in the columns of a 2 x n array, as a new array. Another size is reported and gives an empty
// array; an empty array gives an empty one.
SVMutableDoubleArray TransformPoints(const SVTransform2D& T, const SVDoubleArray& A);
SVMutableFloatArray TransformPoints(const SVTransform2D& T, const SVFloatArray& A);

// Between coordinates and the indices of a grid with its origin at p and steps of dx and dy. With dx
// different from dy they are not the inverse of each other: the second one divides the shift in y by dx.
SVTransform2D TransformFromCoordinateToGrid(const SVPoint2D& p, double dx, double dy);
SVTransform2D TransformFromGridToCoordinate(const SVPoint2D& p, double dx, double dy);

// The array that a transform is stored as: 2 x 3, with the rows (T11 T12 S1) and (T21 T22 S2), or 3 x 3 with
// the row (Px Py 1) below if there is perspective.
SVMutableDoubleArray ConvertToArray(const SVTransform2D& T);

// The reverse. Another size is reported and leaves T as it is. Element (2,2) is ignored.
bool ReadFromArray(const SVDoubleArray& A, SVTransform2D& T);
