#include "arrays/sv/SVTransform2D.h"

#include "arrays/sv/SVTransformInternal.h"

using namespace svinternal;

namespace {

template <class T>
SVMutableArray<T> transformed(const SVTransform2D& transform, const SVArray<T>& A)
{
    // The parenthesis stays open: users search logs for these words.
    return mappedColumns<2>(A, words<T>("TransformPoints(Transform2D,", "Array"), [&](const T* from, T* to) {
        const SVPoint2D p = transform * SVPoint2D(from[0], from[1]);
        to[0] = static_cast<T>(p.x);
        to[1] = static_cast<T>(p.y);
    });
}

} // namespace

SVTransform2D::SVTransform2D(
    double t11, double t12, double s1, double t21, double t22, double s2, double px, double py)
    : T11(t11), T12(t12), S1(s1), T21(t21), T22(t22), S2(s2), Px(px), Py(py)
{ }

SVTransform2D SVTransform2D::Shift(const SVPoint2D& p)
{
    return SVTransform2D(1, 0, p.x, 0, 1, p.y);
}

SVTransform2D SVTransform2D::Scale(double x, double y)
{
    return SVTransform2D(x, 0, 0, 0, y, 0);
}

SVPoint2D SVTransform2D::operator*(const SVPoint2D& p) const
{
    const SVPoint2D flat(T11 * p.x + T12 * p.y + S1, T21 * p.x + T22 * p.y + S2);
    if (!IsPerspective())
        return flat;
    const double w = Px * p.x + Py * p.y + 1;
    return SVPoint2D(flat.x / w, flat.y / w);
}

SVVector2D SVTransform2D::operator*(const SVVector2D& v) const
{
    return SVVector2D(T11 * v.x + T12 * v.y, T21 * v.x + T22 * v.y);
}

SVTransform2D SVTransform2D::operator*(const SVTransform2D& other) const
{
    if (IsPerspective() && other.IsPerspective()) {
        SVErrorMessage("Transform2D*Transform2D", "Not possible when both have perspective");
        return SVTransform2D();
    }
    // The product of the 3 x 3 forms. Its last entry is brought back to the 1 that isn't stored; it differs
    // from 1 only if this transform has the perspective.
    const double w = Px * other.S1 + Py * other.S2 + 1;
    return SVTransform2D((T11 * other.T11 + T12 * other.T21 + S1 * other.Px) / w,
        (T11 * other.T12 + T12 * other.T22 + S1 * other.Py) / w, (T11 * other.S1 + T12 * other.S2 + S1) / w,
        (T21 * other.T11 + T22 * other.T21 + S2 * other.Px) / w,
        (T21 * other.T12 + T22 * other.T22 + S2 * other.Py) / w, (T21 * other.S1 + T22 * other.S2 + S2) / w,
        (Px * other.T11 + Py * other.T21 + other.Px) / w, (Px * other.T12 + Py * other.T22 + other.Py) / w);
}

bool SVTransform2D::IsOrthogonal() const
{
    return rowsAreOrthonormal<2>({{{T11, T12}, {T21, T22}}});
}

SVTransform2D SVTransform2D::Inverse() const
{
    // The cofactors of the 3 x 3 form, divided by the last one.
    const double w = T11 * T22 - T12 * T21;
    return SVTransform2D((T22 - S2 * Py) / w, (S1 * Py - T12) / w, (T12 * S2 - S1 * T22) / w,
        (S2 * Px - T21) / w, (T11 - S1 * Px) / w, (S1 * T21 - T11 * S2) / w, (T21 * Py - T22 * Px) / w,
        (T12 * Px - T11 * Py) / w);
}

SVTransform2D Inverse(const SVTransform2D& T)
{
    return T.Inverse();
}

SVMutableDoubleArray TransformPoints(const SVTransform2D& T, const SVDoubleArray& A)
{
    return transformed(T, A);
}

SVMutableFloatArray TransformPoints(const SVTransform2D& T, const SVFloatArray& A)
{
    return transformed(T, A);
}

SVTransform2D TransformFromCoordinateToGrid(const SVPoint2D& p, double dx, double dy)
{
    return SVTransform2D(dx, 0, p.x, 0, dy, p.y);
}

SVTransform2D TransformFromGridToCoordinate(const SVPoint2D& p, double dx, double dy)
{
    // The last entry divides by dx, so that results stay comparable with stored ones. With dx = dy, as grids
    // have it, this is the inverse of the other.
    return SVTransform2D(1 / dx, 0, -p.x / dx, 0, 1 / dy, -p.y / dx);
}

SVMutableDoubleArray ConvertToArray(const SVTransform2D& T)
{
    const double rows[3][3] = {{T.T11, T.T12, T.S1}, {T.T21, T.T22, T.S2}, {T.Px, T.Py, 1}};
    SVMutableDoubleArray A(T.IsPerspective() ? 3 : 2, 3);
    for (long j = 0; j < A.n(); ++j)
        for (long i = 0; i < A.m(); ++i)
            A(i, j) = rows[i][j];
    return A;
}

bool ReadFromArray(const SVDoubleArray& A, SVTransform2D& T)
{
    if ((A.m() != 2 && A.m() != 3) || A.n() != 3 || A.o() != 1) {
        SVErrorMessage("ReadFromArray(Transform2D)", "Invalid size for array.");
        return false;
    }
    T = SVTransform2D(A(0, 0), A(0, 1), A(0, 2), A(1, 0), A(1, 1), A(1, 2));
    if (A.m() == 3) {
        T.Px = A(2, 0);
        T.Py = A(2, 1);
    }
    return true;
}
