#include "arrays/sv/sv_testing.h"

#include "arrays/geometry/KRTransforms.h"

#include <cmath>

using namespace svtest;

namespace {

void expectNear(const SVPoint3D& a, const SVPoint3D& b)
{
    EXPECT_NEAR(a.x, b.x, 1e-12);
    EXPECT_NEAR(a.y, b.y, 1e-12);
    EXPECT_NEAR(a.z, b.z, 1e-12);
}

void expectNear(const SVPoint2D& a, const SVPoint2D& b)
{
    expectNear(SVPoint3D(a.x, a.y, 0), SVPoint3D(b.x, b.y, 0));
}

} // namespace

TEST(TransformStructures, DoWhatTheClassesDo)
{
    const Transform2D flat = CreatePerspectiveTransform2D(1, 0.5, 2, 0, 2, -1, 0.05, 0.02);
    expectNear(
        ConvertToSV(Transform2DOnPoint(InverseTransform2D(flat), Transform2DOnPoint(flat, {1, 2}))), {1, 2});
    const Transform2D turned = CombineTransform2D(ShiftTransform2D({1, 0}),
        CombineTransform2D(ScaleTransform2D(2, 3), RotateTransform2D(std::acos(0.0))));
    expectNear(ConvertToSV(Transform2DOnPoint(turned, {1, 0})), {1, 3});

    const Transform3D stretch = ScaleInDirectionTransform3D({0, 3, 0}, 2);
    expectNear(ConvertToSV(Transform3DOnPoint(stretch, DoublePoint3D{1, 1, 1})), {1, 2, 1});
    const Transform3D turn = RotateTransform3D(1, {1, 2, 3});
    EXPECT_TRUE(Transform3DIsOrthagonal(turn));
    const Transform3D back = CombineTransform3D(Transpose(turn), turn);
    expectNear(ConvertToSV(Transform3DOnPoint(back, DoublePoint3D{1, 2, -3})), {1, 2, -3});
    EXPECT_EQ(Determinant(ScaleTransform3D(2, 3, 4)), 24);
    const Transform3D shift = ShiftTransform3D({1, 2, 3});
    EXPECT_FALSE(Transform3DIsIdentity(shift));
    EXPECT_TRUE(Transform3DIsIdentity(CombineTransform3D(InverseTransform3D(shift), shift)));
    EXPECT_EQ(Transform3DOnPoint(shift, Point3D{1, 1, 1}).z, 4.0F);
    EXPECT_EQ(Transform3DOnDirection(shift, Point3D{1, 1, 1}).z, 1.0F);
    EXPECT_EQ(shown(TransformDirections(shift, counting<double>(3))), "3x1x1: 0 1 2");
    Transform3D perspective = shift;
    perspective.Pz = 2;
    EXPECT_EQ(ConvertToKR(ConvertToSV(perspective)).Pz, 2) << "copied in both ways";
}
