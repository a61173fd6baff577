#include "arrays/sv/SVTransform3D.h"

#include "arrays/sv/SVTransformInternal.h"

#include <iostream>

using namespace svinternal;

namespace {

template <class T>
SVMutableArray<T> transformed(const SVTransform3D& transform, const SVArray<T>& A)
{
    // The parenthesis stays open: users search logs for these words.
    return mappedColumns<3>(A, words<T>("TransformPoints(Transform3D,", "Array"), [&](const T* from, T* to) {
        const SVPoint3D p = transform * SVPoint3D(from[0], from[1], from[2]);
        to[0] = static_cast<T>(p.x);
        to[1] = static_cast<T>(p.y);
        to[2] = static_cast<T>(p.z);
    });
}

} // namespace

SVTransform3D::SVTransform3D(double t11, double t12, double t13, double s1, double t21, double t22,
    double t23, double s2, double t31, double t32, double t33, double s3)
    : T11(t11), T12(t12), T13(t13), S1(s1), T21(t21), T22(t22), T23(t23), S2(s2), T31(t31), T32(t32),
      T33(t33), S3(s3)
{ }

SVTransform3D SVTransform3D::Shift(const SVPoint3D& p)
{
    return SVTransform3D(1, 0, 0, p.x, 0, 1, 0, p.y, 0, 0, 1, p.z);
}

SVTransform3D SVTransform3D::Scale(double x, double y, double z)
{
    return SVTransform3D(x, 0, 0, 0, 0, y, 0, 0, 0, 0, z, 0);
}

SVTransform3D SVTransform3D::RotateAroundX(double angle)
{
    const double c = std::cos(angle), s = std::sin(angle);
    return SVTransform3D(1, 0, 0, 0, 0, c, -s, 0, 0, s, c, 0);
}

SVTransform3D SVTransform3D::RotateAroundY(double angle)
{
    const double c = std::cos(angle), s = std::sin(angle);
    return SVTransform3D(c, 0, s, 0, 0, 1, 0, 0, -s, 0, c, 0);
}

SVTransform3D SVTransform3D::RotateAroundZ(double angle)
{
    const double c = std::cos(angle), s = std::sin(angle);
    return SVTransform3D(c, -s, 0, 0, s, c, 0, 0, 0, 0, 1, 0);
}

SVTransform3D SVTransform3D::RotateAroundVector(const SVVector3D& v, double angle)
{
    const double length = std::hypot(v.x, v.y, v.z);
    if (!(length > 0)) {
        SVErrorMessage("SVTransform3D::RotateAroundVector", "Invalid vector");
        return SVTransform3D();
    }
    const double x = v.x / length, y = v.y / length, z = v.z / length;
    const double c = std::cos(angle), s = std::sin(angle), d = 1 - c;
    return SVTransform3D(c + d * x * x, d * x * y - s * z, d * x * z + s * y, 0, //
        d * x * y + s * z, c + d * y * y, d * y * z - s * x, 0, //
        d * x * z - s * y, d * y * z + s * x, c + d * z * z, 0);
}

std::array<std::array<double, 4>, 4> SVTransform3D::Rows() const
{
    return {{{T11, T12, T13, S1}, {T21, T22, T23, S2}, {T31, T32, T33, S3}, {0, 0, 0, 1}}};
}

double SVTransform3D::operator()(int i, int j) const
{
    if (i < 0 || i > 3 || j < 0 || j > 3) {
        SVErrorMessage("SVTransform::operator(i,j)", "Index out of bounds");
        return 0;
    }
    return Rows()[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
}

SVPoint3D SVTransform3D::operator*(const SVPoint3D& p) const
{
    const SVPoint3D flat(T11 * p.x + T12 * p.y + T13 * p.z + S1, T21 * p.x + T22 * p.y + T23 * p.z + S2,
        T31 * p.x + T32 * p.y + T33 * p.z + S3);
    if (!IsPerspective())
        return flat;
    const double w = Px * p.x + Py * p.y + Pz * p.z + 1;
    return SVPoint3D(flat.x / w, flat.y / w, flat.z / w);
}

SVVector3D SVTransform3D::operator*(const SVVector3D& v) const
{
    return SVVector3D(T11 * v.x + T12 * v.y + T13 * v.z, T21 * v.x + T22 * v.y + T23 * v.z,
        T31 * v.x + T32 * v.y + T33 * v.z);
}

SVTransform3D SVTransform3D::operator*(const SVTransform3D& other) const
{
    // The columns of the product are those of the other one, transformed.
    const SVVector3D x = *this * SVVector3D(other.T11, other.T21, other.T31);
    const SVVector3D y = *this * SVVector3D(other.T12, other.T22, other.T32);
    const SVVector3D z = *this * SVVector3D(other.T13, other.T23, other.T33);
    const SVVector3D s = *this * SVVector3D(other.S1, other.S2, other.S3);
    return SVTransform3D(x.x, y.x, z.x, s.x + S1, x.y, y.y, z.y, s.y + S2, x.z, y.z, z.z, s.z + S3);
}

bool SVTransform3D::IsOrthogonal() const
{
    return rowsAreOrthonormal<3>({{{T11, T12, T13}, {T21, T22, T23}, {T31, T32, T33}}});
}

double SVTransform3D::Determinant() const
{
    return T11 * (T22 * T33 - T23 * T32) - T12 * (T21 * T33 - T23 * T31) + T13 * (T21 * T32 - T22 * T31);
}

SVTransform3D SVTransform3D::Inverse() const
{
    const double d = Determinant();
    SVTransform3D inverse((T22 * T33 - T23 * T32) / d, (T13 * T32 - T12 * T33) / d,
        (T12 * T23 - T13 * T22) / d, 0, //
        (T23 * T31 - T21 * T33) / d, (T11 * T33 - T13 * T31) / d, (T13 * T21 - T11 * T23) / d, 0, //
        (T21 * T32 - T22 * T31) / d, (T12 * T31 - T11 * T32) / d, (T11 * T22 - T12 * T21) / d, 0);
    const SVVector3D shift = inverse * SVVector3D(S1, S2, S3);
    inverse.S1 = -shift.x;
    inverse.S2 = -shift.y;
    inverse.S3 = -shift.z;
    return inverse;
}

void SVTransform3D::pinfo() const
{
    const auto rows = Rows();
    for (std::size_t i = 0; i < 3; ++i)
        std::cerr << rows[i][0] << ", " << rows[i][1] << ", " << rows[i][2] << ", " << rows[i][3] << "\n";
    if (IsPerspective())
        std::cerr << Px << ", " << Py << ", " << Pz << ", 1\n";
}

SVTransform3D Inverse(const SVTransform3D& T)
{
    return T.Inverse();
}

SVMutableDoubleArray TransformPoints(const SVTransform3D& T, const SVDoubleArray& A)
{
    return transformed(T, A);
}

SVMutableFloatArray TransformPoints(const SVTransform3D& T, const SVFloatArray& A)
{
    return transformed(T, A);
}

SVMutableDoubleArray ConvertToArray(const SVTransform3D& T)
{
    SVMutableDoubleArray A(3, 4);
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 3; ++i)
            A(i, j) = T(i, j);
    return A;
}

bool ReadFromArray(const SVDoubleArray& A, SVTransform3D& T)
{
    if (A.m() != 3 || A.n() != 4 || A.o() != 1) {
        SVErrorMessage("ReadFromArray(Transform3D)", "Invalid size for array.");
        return false;
    }
    T = SVTransform3D(A(0, 0), A(0, 1), A(0, 2), A(0, 3), A(1, 0), A(1, 1), A(1, 2), A(1, 3), A(2, 0),
        A(2, 1), A(2, 2), A(2, 3));
    return true;
}
