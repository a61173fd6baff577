#include "arrays/geometry/KRTransforms.h"

#include "arrays/sv/SVTransformInternal.h"

using namespace svinternal;

namespace {

SVVector3D asVector(const SVPoint3D& p)
{
    return SVVector3D(p.x, p.y, p.z);
}

Point3D inSinglePrecision(const DoublePoint3D& p)
{
    return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}

// The transform without shift and perspective.
SVTransform3D withoutShift(const Transform3D& T)
{
    return SVTransform3D(T.T11, T.T12, T.T13, 0, T.T21, T.T22, T.T23, 0, T.T31, T.T32, T.T33, 0);
}

} // namespace

SVTransform2D ConvertToSV(const Transform2D& T)
{
    return SVTransform2D(T.T11, T.T12, T.S1, T.T21, T.T22, T.S2, T.Px, T.Py);
}

SVTransform3D ConvertToSV(const Transform3D& T)
{
    SVTransform3D result(T.T11, T.T12, T.T13, T.S1, T.T21, T.T22, T.T23, T.S2, T.T31, T.T32, T.T33, T.S3);
    result.Px = T.Px;
    result.Py = T.Py;
    result.Pz = T.Pz;
    return result;
}

Transform2D ConvertToKR(const SVTransform2D& T)
{
    return {T.T11, T.T12, T.S1, T.T21, T.T22, T.S2, T.Px, T.Py};
}

Transform3D ConvertToKR(const SVTransform3D& T)
{
    return {
        T.T11, T.T12, T.T13, T.S1, T.T21, T.T22, T.T23, T.S2, T.T31, T.T32, T.T33, T.S3, T.Px, T.Py, T.Pz};
}

Transform2D CreateIdentityTransform2D()
{
    return ConvertToKR(SVTransform2D());
}

Transform2D CreateTransform2D(double T11, double T12, double S1, double T21, double T22, double S2)
{
    return {T11, T12, S1, T21, T22, S2, 0, 0};
}

Transform2D CreatePerspectiveTransform2D(
    double T11, double T12, double S1, double T21, double T22, double S2, double Px, double Py)
{
    return {T11, T12, S1, T21, T22, S2, Px, Py};
}

Transform2D ScaleTransform2D(double x, double y)
{
    return ConvertToKR(SVTransform2D::Scale(x, y));
}

Transform2D ShiftTransform2D(const Point2D& p)
{
    return ConvertToKR(SVTransform2D::Shift(ConvertToSV(p)));
}

Transform2D RotateTransform2D(double angle)
{
    const double c = std::cos(angle), s = std::sin(angle);
    return CreateTransform2D(c, -s, 0, s, c, 0);
}

bool Transform2DIsIdentity(const Transform2D& T)
{
    return T.T11 == 1 && T.T12 == 0 && T.S1 == 0 && T.T21 == 0 && T.T22 == 1 && T.S2 == 0 && T.Px == 0
        && T.Py == 0;
}

Transform2D InverseTransform2D(const Transform2D& T)
{
    return ConvertToKR(ConvertToSV(T).Inverse());
}

Transform2D CombineTransform2D(const Transform2D& A, const Transform2D& B)
{
    return ConvertToKR(ConvertToSV(A) * ConvertToSV(B));
}

Point2D Transform2DOnPoint(const Transform2D& T, const Point2D& p)
{
    return ConvertToKR(ConvertToSV(T) * ConvertToSV(p));
}

SVMutableDoubleArray TransformArray(const Transform2D& T, const SVDoubleArray& A)
{
    return TransformPoints(ConvertToSV(T), A);
}

SVMutableFloatArray TransformArray(const Transform2D& T, const SVFloatArray& A)
{
    return TransformPoints(ConvertToSV(T), A);
}

Transform3D CreateIdentityTransform3D()
{
    return ConvertToKR(SVTransform3D());
}

Transform3D CreateTransform3D(double T11, double T12, double T13, double S1, double T21, double T22,
    double T23, double S2, double T31, double T32, double T33, double S3)
{
    return {T11, T12, T13, S1, T21, T22, T23, S2, T31, T32, T33, S3, 0, 0, 0};
}

Transform3D ScaleTransform3D(double x, double y, double z)
{
    return ConvertToKR(SVTransform3D::Scale(x, y, z));
}

Transform3D ScaleInDirectionTransform3D(const DoublePoint3D& direction, double factor)
{
    const double length = std::hypot(direction.x, direction.y, direction.z);
    if (!(length > 0))
        return CreateIdentityTransform3D();
    const double x = direction.x / length, y = direction.y / length, z = direction.z / length;
    const double f = factor - 1;
    return CreateTransform3D(1 + f * x * x, f * x * y, f * x * z, 0, //
        f * x * y, 1 + f * y * y, f * y * z, 0, //
        f * x * z, f * y * z, 1 + f * z * z, 0);
}

Transform3D ShiftTransform3D(const DoublePoint3D& p)
{
    return ConvertToKR(SVTransform3D::Shift(ConvertToSV(p)));
}

Transform3D RotateTransform3D(double angle, const DoublePoint3D& axis)
{
    return ConvertToKR(SVTransform3D::RotateAroundVector(asVector(ConvertToSV(axis)), angle));
}

bool Transform3DIsIdentity(const Transform3D& T)
{
    const SVTransform3D transform = ConvertToSV(T);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 4; ++j)
            if (transform(i, j) != (i == j ? 1 : 0))
                return false;
    return !transform.IsPerspective();
}

bool Transform3DIsOrthagonal(const Transform3D& T)
{
    return ConvertToSV(T).IsOrthogonal();
}

Transform3D InverseTransform3D(const Transform3D& T)
{
    return ConvertToKR(ConvertToSV(T).Inverse());
}

Transform3D CombineTransform3D(const Transform3D& A, const Transform3D& B)
{
    return ConvertToKR(ConvertToSV(A) * ConvertToSV(B));
}

Transform3D Transpose(const Transform3D& T)
{
    return CreateTransform3D(T.T11, T.T21, T.T31, 0, T.T12, T.T22, T.T32, 0, T.T13, T.T23, T.T33, 0);
}

double Determinant(const Transform3D& T)
{
    return ConvertToSV(T).Determinant();
}

DoublePoint3D Transform3DOnPoint(const Transform3D& T, const DoublePoint3D& p)
{
    return ConvertToKR(ConvertToSV(T) * ConvertToSV(p));
}

Point3D Transform3DOnPoint(const Transform3D& T, const Point3D& p)
{
    return inSinglePrecision(ConvertToKR(ConvertToSV(T) * ConvertToSV(p)));
}

DoublePoint3D Transform3DOnDirection(const Transform3D& T, const DoublePoint3D& d)
{
    return ConvertToKR(ConvertToSV(T) * asVector(ConvertToSV(d)));
}

Point3D Transform3DOnDirection(const Transform3D& T, const Point3D& d)
{
    return inSinglePrecision(ConvertToKR(ConvertToSV(T) * asVector(ConvertToSV(d))));
}

SVMutableDoubleArray TransformPoints(const Transform3D& T, const SVDoubleArray& A)
{
    return TransformPoints(ConvertToSV(T), A);
}

SVMutableFloatArray TransformPoints(const Transform3D& T, const SVFloatArray& A)
{
    return TransformPoints(ConvertToSV(T), A);
}

SVMutableDoubleArray TransformDirections(const Transform3D& T, const SVDoubleArray& A)
{
    return TransformPoints(withoutShift(T), A);
}

SVMutableFloatArray TransformDirections(const Transform3D& T, const SVFloatArray& A)
{
    return TransformPoints(withoutShift(T), A);
}
