#pragma once

#include "arrays/sv/SVDoubleArray.h"
#include "arrays/sv/SVFloatArray.h"
#include "arrays/sv/SVPoints.h"

#include <array>

// A transform of space: the rows (T11 T12 T13 S1), (T21 T22 T23 S2), (T31 T32 T33 S3), and three numbers of
// perspective, by which a point's result is divided: w = Px x + Py y + Pz z + 1. Angles are in radians and
// follow the right-hand rule.
class SVTransform3D {
public:
    SVTransform3D() = default; // The identity.
    SVTransform3D(double t11, double t12, double t13, double s1, double t21, double t22, double t23,
        double s2, double t31, double t32, double t33, double s3); // No perspective.

    static SVTransform3D Shift(const SVPoint3D& p);
    static SVTransform3D Scale(double x, double y, double z);
    static SVTransform3D RotateAroundX(double angle);
    static SVTransform3D RotateAroundY(double angle);
    static SVTransform3D RotateAroundZ(double angle);
    // The vector may have any length but 0, which is reported and gives the identity.
    static SVTransform3D RotateAroundVector(const SVVector3D& v, double angle);

    // The entry in row i and column j, both from 0 to 3, with (0 0 0 1) as row 3. A bad index is reported and
    // gives 0.
    double operator()(int i, int j) const;

    SVPoint3D operator*(const SVPoint3D& p) const;
    SVVector3D operator*(const SVVector3D& v) const; // Neither shift nor perspective.
    SVTransform3D operator*(
        const SVTransform3D& other) const; // This one after the other, without perspective.

    bool IsPerspective() const { return Px != 0 || Py != 0 || Pz != 0; }
    bool IsOrthogonal() const; // The rows without the shift are orthonormal, up to rounding.
    double Determinant() const; // Of the 3 x 3 part.
    SVTransform3D Inverse() const; // Without perspective. A singular one is divided by 0.

    void pinfo() const; // Prints the rows on the standard error stream, for use in a debugger.

    double T11 = 1;
    double T12 = 0;
    double T13 = 0;
    double S1 = 0;
    double T21 = 0;
    double T22 = 1;
    double T23 = 0;
    double S2 = 0;
    double T31 = 0;
    double T32 = 0;
    double T33 = 1;
    double S3 = 0;
    double Px = 0;
    double Py = 0;
    double Pz = 0;

private:
    std::array<std::array<double, 4>, 4> Rows() const;
};

SVTransform3D Inverse(const SVTransform3D& T);

// The points in the columns of a 3 x n array, as a new array. Another size is reported and gives an empty
// array; an empty array gives an empty one.
SVMutableDoubleArray TransformPoints(const SVTransform3D& T, const SVDoubleArray& A);
SVMutableFloatArray TransformPoints(const SVTransform3D& T, const SVFloatArray& A);

// The array that a transform is stored as: its rows, 3 x 4. The perspective isn't stored.
SVMutableDoubleArray ConvertToArray(const SVTransform3D& T);

// The reverse. Another size is reported and leaves T as it is.
bool ReadFromArray(const SVDoubleArray& A, SVTransform3D& T);
