#include "arrays/sv/sv_testing.h"

#include "arrays/geometry/KRTransforms.h"

#include <cmath>
#include <cstring>

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

// Changes one number of the identity after the other.
template <class Transform>
void expectNoIdentityBut(const Transform& identity, bool (*isIdentity)(const Transform&))
{
    EXPECT_TRUE(isIdentity(identity));
    for (std::size_t i = 0; i < sizeof identity / sizeof(double); ++i) {
        Transform T = identity;
        reinterpret_cast<double*>(&T)[i] += 2;
        EXPECT_FALSE(isIdentity(T)) << i;
        const Transform back = ConvertToKR(ConvertToSV(T));
        EXPECT_EQ(std::memcmp(&back, &T, sizeof T), 0) << i;
    }
}

} // namespace

TEST(TransformStructures, DoWhatTheClassesDo)
{
    const Transform2D flat = CreatePerspectiveTransform2D(1, 0.5, 2, 0, 2, -1, 0.05, 0.02);
    expectNear(Transform2DOnPoint(InverseTransform2D(flat), Transform2DOnPoint(flat, {1, 2})), 1, 2);
    const Transform2D turned = CombineTransform2D(ShiftTransform2D({1, 0}),
        CombineTransform2D(ScaleTransform2D(2, 3), RotateTransform2D(std::acos(0.0))));
    expectNear(Transform2DOnPoint(turned, {1, 0}), 1, 3);

    const Transform3D upwards = ScaleInDirectionTransform3D({0, 3, 0}, 2);
    const Transform3D diagonal = ScaleInDirectionTransform3D({1, 1, 1}, 3);
    expectNear(Transform3DOnPoint(upwards, DoublePoint3D{1, 1, 1}), 1, 2, 1);
    expectNear(Transform3DOnPoint(diagonal, DoublePoint3D{1, 1, 1}), 3, 3, 3);
    expectNear(Transform3DOnPoint(diagonal, DoublePoint3D{1, -2, 1}), 1, -2, 1);
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
    const auto both = [&](const auto& A) {
        return shown(TransformPoints(T, A)) + shown(TransformDirections(T, A));
    };
    EXPECT_EQ(both(counting<double>(3)), "3x1x1: 5 7 63x1x1: 1 2 0");
    EXPECT_EQ(both(counting<float>(3)), "3x1x1: 5 7 63x1x1: 1 2 0");
    expectNear(Transform3DOnPoint(T, Point3D{0, 1, 2}), 5, 7, 6);
    expectNear(Transform3DOnDirection(T, Point3D{0, 1, 2}), 1, 2, 0);
    expectNear(Transform3DOnDirection(T, DoublePoint3D{0, 1, 2}), 1, 2, 0);
    expectNear(ConvertToSV(Point2D{3, 4}), 3, 4);
    expectNear(ConvertToKR(SVVector2D(3, 4)), 3, 4);
    expectNear(ConvertToSV(Point3D{3, 4, 5}), 3, 4, 5);
}

TEST(TransformStructures, AreIdentitiesOnlyWithEachOfTheirNumbers)
{
    expectNoIdentityBut(CreateIdentityTransform2D(), Transform2DIsIdentity);
    EXPECT_THAT(reportsOf([] { expectNoIdentityBut(CreateIdentityTransform3D(), Transform3DIsIdentity); }),
        IsEmpty());
    const Transform3D shift = ShiftTransform3D({1, 2, 3});
    EXPECT_TRUE(Transform3DIsIdentity(CombineTransform3D(InverseTransform3D(shift), shift)));
}
