#pragma once

#include "arrays/geometry/KRPoints.h"
#include "arrays/sv/SVTransform2D.h"
#include "arrays/sv/SVTransform3D.h"

// The transforms of the object layer: plain structures with the numbers of SVTransform2D and SVTransform3D,
// and functions for the operations of those classes, with the same reports.

struct Transform2D {
    double T11;
    double T12;
    double S1;
    double T21;
    double T22;
    double S2;
    double Px;
    double Py;
};

struct Transform3D {
    double T11;
    double T12;
    double T13;
    double S1;
    double T21;
    double T22;
    double T23;
    double S2;
    double T31;
    double T32;
    double T33;
    double S3;
    double Px;
    double Py;
    double Pz;
};

SVTransform2D ConvertToSV(const Transform2D& T);
SVTransform3D ConvertToSV(const Transform3D& T);
Transform2D ConvertToKR(const SVTransform2D& T);
Transform3D ConvertToKR(const SVTransform3D& T);

Transform2D CreateIdentityTransform2D();
Transform2D CreateTransform2D(double T11, double T12, double S1, double T21, double T22, double S2);
Transform2D CreatePerspectiveTransform2D(
    double T11, double T12, double S1, double T21, double T22, double S2, double Px, double Py);
Transform2D ScaleTransform2D(double x, double y);
Transform2D ShiftTransform2D(const Point2D& p);
Transform2D RotateTransform2D(double angle); // In radians, from the x axis towards the y axis.

bool Transform2DIsIdentity(const Transform2D& T);
Transform2D InverseTransform2D(const Transform2D& T);
Transform2D CombineTransform2D(const Transform2D& A, const Transform2D& B); // A after B.
Point2D Transform2DOnPoint(const Transform2D& T, const Point2D& p);
SVMutableDoubleArray TransformArray(const Transform2D& T, const SVDoubleArray& A); // Points in 2 x n.
SVMutableFloatArray TransformArray(const Transform2D& T, const SVFloatArray& A);

Transform3D CreateIdentityTransform3D();
Transform3D CreateTransform3D(double T11, double T12, double T13, double S1, double T21, double T22,
    double T23, double S2, double T31, double T32, double T33, double S3);
Transform3D ScaleTransform3D(double x, double y, double z);
// Scales by the factor along the direction; perpendicular to it nothing changes. A zero vector gives the
// identity.
Transform3D ScaleInDirectionTransform3D(const DoublePoint3D& direction, double factor);
Transform3D ShiftTransform3D(const DoublePoint3D& p);
Transform3D RotateTransform3D(double angle, const DoublePoint3D& axis);

bool Transform3DIsIdentity(const Transform3D& T);
bool Transform3DIsOrthagonal(const Transform3D& T);
Transform3D InverseTransform3D(const Transform3D& T);
Transform3D CombineTransform3D(const Transform3D& A, const Transform3D& B); // A after B.
Transform3D Transpose(const Transform3D& T); // Of the 3 x 3 part; without shift and perspective.
double Determinant(const Transform3D& T); // Of the 3 x 3 part.

DoublePoint3D Transform3DOnPoint(const Transform3D& T, const DoublePoint3D& p);
Point3D Transform3DOnPoint(const Transform3D& T, const Point3D& p);
DoublePoint3D Transform3DOnDirection(const Transform3D& T, const DoublePoint3D& d); // Without the shift.
Point3D Transform3DOnDirection(const Transform3D& T, const Point3D& d);

// The points, or the directions, in the columns of a 3 x n array.
SVMutableDoubleArray TransformPoints(const Transform3D& T, const SVDoubleArray& A);
SVMutableFloatArray TransformPoints(const Transform3D& T, const SVFloatArray& A);
SVMutableDoubleArray TransformDirections(const Transform3D& T, const SVDoubleArray& A);
SVMutableFloatArray TransformDirections(const Transform3D& T, const SVFloatArray& A);
