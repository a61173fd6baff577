#include "arrays/sv/sv_testing.h"

#include "arrays/geometry/KRTransforms.h"

#include <cmath>

using namespace svtest;

namespace {

template <class Point>
void expectNear(const Point& p, double x, double y, double z = 0)
{
    EXPECT_NEAR(p.x, x, 1e-12);
    EXPECT_NEAR(p.y, y, 1e-12);
    if constexpr (requires { p.z; }) {
        EXPECT_NEAR(p.z, z, 1e-12);
    }
}

// All the numbers of a structure, which has nothing else.
template <class Transform>
std::vector<double> numbersOf(const Transform& T)
{
    const auto* first = reinterpret_cast<const double*>(&T);
    return {first, first + sizeof T / sizeof(double)};
}

} // namespace

TEST(TransformStructures, DoWhatTheClassesDo)
{
    const Transform2D flat = CreatePerspectiveTransform2D(1, 0.5, 2, 0, 2, -1, 0.05, 0.02);
    expectNear(Transform2DOnPoint(InverseTransform2D(flat), Transform2DOnPoint(flat, {1, 2})), 1, 2);
    const Transform2D turned = CombineTransform2D(ShiftTransform2D({1, 0}),
        CombineTransform2D(ScaleTransform2D(2, 3), RotateTransform2D(std::acos(0.0))));
    expectNear(Transform2DOnPoint(turned, {1, 0}), 1, 3);

    expectNear(
        Transform3DOnPoint(ScaleInDirectionTransform3D({0, 3, 0}, 2), DoublePoint3D{1, 1, 1}), 1, 2, 1);
    expectNear(
        Transform3DOnPoint(ScaleInDirectionTransform3D({1, 1, 1}, 3), DoublePoint3D{1, 1, 1}), 3, 3, 3);
    expectNear(
        Transform3DOnPoint(ScaleInDirectionTransform3D({1, 1, 1}, 3), DoublePoint3D{1, -2, 1}), 1, -2, 1);
    EXPECT_TRUE(Transform3DIsIdentity(ScaleInDirectionTransform3D({0, 0, 0}, 2)));
    const Transform3D turn = RotateTransform3D(1, {1, 2, 3});
    EXPECT_TRUE(Transform3DIsOrthagonal(turn));
    const Transform3D back = CombineTransform3D(Transpose(turn), turn);
    expectNear(Transform3DOnPoint(back, DoublePoint3D{1, 2, -3}), 1, 2, -3);
    EXPECT_EQ(Determinant(ScaleTransform3D(2, 3, 4)), 24);
}

TEST(TransformStructures, ActOnPointsAndDirectionsOfEitherPrecision)
{
    const Transform2D flat = CreateTransform2D(0, 1, 5, 2, 0, 6);
    EXPECT_EQ(shown(TransformArray(flat, counting<double>(2, 2))), "2x2x1: 6 6 8 10");
    EXPECT_EQ(shown(TransformArray(flat, counting<float>(2, 1))), "2x1x1: 6 6");
    const Transform3D T = CreateTransform3D(0, 1, 0, 4, 0, 0, 1, 5, 2, 0, 0, 6);
    EXPECT_FALSE(Transform3DIsOrthagonal(T));
    EXPECT_EQ(shown(TransformPoints(T, counting<double>(3))), "3x1x1: 5 7 6");
    EXPECT_EQ(shown(TransformPoints(T, counting<float>(3))), "3x1x1: 5 7 6");
    EXPECT_EQ(shown(TransformDirections(T, counting<double>(3))), "3x1x1: 1 2 0");
    EXPECT_EQ(shown(TransformDirections(T, counting<float>(3))), "3x1x1: 1 2 0");
    expectNear(Transform3DOnPoint(T, Point3D{0, 1, 2}), 5, 7, 6);
    expectNear(Transform3DOnDirection(T, Point3D{0, 1, 2}), 1, 2, 0);
    expectNear(Transform3DOnDirection(T, DoublePoint3D{0, 1, 2}), 1, 2, 0);
    expectNear(ConvertToSV(Point2D{3, 4}), 3, 4);
    expectNear(ConvertToKR(SVVector2D(3, 4)), 3, 4);
    expectNear(ConvertToSV(Point3D{3, 4, 5}), 3, 4, 5);
}

TEST(TransformStructures, AreIdentitiesOnlyWithEachOfTheirNumbers)
{
    EXPECT_TRUE(Transform2DIsIdentity(CreateIdentityTransform2D()));
    EXPECT_THAT(
        reportsOf([] { EXPECT_TRUE(Transform3DIsIdentity(CreateIdentityTransform3D())); }), IsEmpty());
    const Transform3D shift = ShiftTransform3D({1, 2, 3});
    EXPECT_TRUE(Transform3DIsIdentity(CombineTransform3D(InverseTransform3D(shift), shift)));
    for (double Transform2D::*number : {&Transform2D::T11, &Transform2D::T12, &Transform2D::S1,
             &Transform2D::T21, &Transform2D::T22, &Transform2D::S2, &Transform2D::Px, &Transform2D::Py}) {
        Transform2D T = CreateIdentityTransform2D();
        T.*number += 2;
        EXPECT_FALSE(Transform2DIsIdentity(T));
        EXPECT_EQ(numbersOf(ConvertToKR(ConvertToSV(T))), numbersOf(T));
    }
    for (double Transform3D::*number :
        {&Transform3D::T11, &Transform3D::T12, &Transform3D::T13, &Transform3D::S1, &Transform3D::T21,
            &Transform3D::T22, &Transform3D::T23, &Transform3D::S2, &Transform3D::T31, &Transform3D::T32,
            &Transform3D::T33, &Transform3D::S3, &Transform3D::Px, &Transform3D::Py, &Transform3D::Pz}) {
        Transform3D T = CreateIdentityTransform3D();
        T.*number += 2;
        EXPECT_FALSE(Transform3DIsIdentity(T));
        EXPECT_EQ(numbersOf(ConvertToKR(ConvertToSV(T))), numbersOf(T));
    }
}
