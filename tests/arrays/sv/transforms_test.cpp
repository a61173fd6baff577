#include "sv_testing.h"

#include "arrays/sv/SVTransform2D.h"
#include "arrays/sv/SVTransform3D.h"
#include "arrays/sv/SVTransformStorage.h"

#include <cmath>
#include <map>

using namespace svtest;

namespace {

const SVPoint2D kFlatPoints[] = {{0, 0}, {1, 0}, {0.25, -3}, {-2, 5}};
const SVPoint3D kPoints[] = {{0, 0, 0}, {1, 0, 0}, {0.25, -3, 2}, {-2, 5, -1}};

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

const SVTransform2D kAffine(2, 1, 3, -1, 1.5, 4);
const SVTransform2D kPerspective(1, 0.5, 2, 0, 2, -1, 0.05, 0.02);

} // namespace

TEST(Transform2D, ActsOnPointsAndVectorsCombinesAndInverts)
{
    expectNear(kAffine * SVPoint2D(1, 2), {7, 6});
    const SVVector2D v = kAffine * SVVector2D(1, 2);
    expectNear({v.x, v.y}, {4, 2});
    expectNear(kPerspective * SVPoint2D(1, 2), {4 / 1.09, 3 / 1.09});
    expectNear(SVTransform2D::Shift({5, 7}) * (SVTransform2D::Scale(2, 3) * SVPoint2D(1, 2)), {7, 13});
    expectNear(TransformFromCoordinateToGrid({6, 8}, 2, 4) * SVPoint2D(1, 1), {8, 12});
    expectNear(TransformFromGridToCoordinate({6, 8}, 2, 4) * SVPoint2D(8, 12), {1, -1}); // By dx, both.

    for (const auto& [a, b] :
        {std::pair(kAffine, kAffine), std::pair(kAffine, kPerspective), std::pair(kPerspective, kAffine)}) {
        EXPECT_EQ((a * b).IsPerspective(), a.IsPerspective() || b.IsPerspective());
        for (const SVPoint2D& p : kFlatPoints)
            expectNear((a * b) * p, a * (b * p));
    }
    for (const SVTransform2D& a : {kAffine, kPerspective})
        for (const SVPoint2D& p : kFlatPoints)
            expectNear(Inverse(a) * (a * p), p);
    EXPECT_THAT(reportsOf([] { EXPECT_FALSE((kPerspective * kPerspective).IsPerspective()); }),
        ElementsAre("Transform2D*Transform2D: Not possible when both have perspective"));
}

TEST(Transform3D, RotatesByTheRightHandAndKnowsWhetherItIsOrthogonal)
{
    const double quarter = std::acos(0.0);
    using T = SVTransform3D;
    expectNear(T::RotateAroundX(quarter) * SVPoint3D(0, 1, 0), {0, 0, 1});
    expectNear(T::RotateAroundY(quarter) * SVPoint3D(0, 0, 1), {1, 0, 0});
    expectNear(T::RotateAroundZ(quarter) * SVPoint3D(1, 0, 0), {0, 1, 0});
    for (const SVPoint3D& p : kPoints) {
        expectNear(T::RotateAroundVector({5, 0, 0}, 0.7) * p, T::RotateAroundX(0.7) * p);
        expectNear(T::RotateAroundVector({0, 0, 3}, 0.7) * p, T::RotateAroundZ(0.7) * p);
    }
    expectNear(T::RotateAroundVector({1, -2, 3}, 2) * SVPoint3D(1, -2, 3), {1, -2, 3});
    EXPECT_THAT(reportsOf([] { T::RotateAroundVector(SVVector3D(0, 0, 0), 1); }),
        ElementsAre("SVTransform3D::RotateAroundVector: Invalid vector"));

    EXPECT_TRUE(
        SVTransform3D::RotateAroundX(1).IsOrthogonal() && SVTransform3D::Shift({1, 2, 3}).IsOrthogonal());
    EXPECT_FALSE(SVTransform3D(1, 1e-14, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0).IsOrthogonal());
    EXPECT_FALSE(SVTransform3D(std::nan(""), 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0).IsOrthogonal());
    EXPECT_FALSE(kAffine.IsOrthogonal());
}

TEST(Transform3D, CombinesAndInvertsLikeItsActionOnPointsAndGivesItsEntries)
{
    const SVTransform3D a(2, 1, 0, 3, 0, 1, 4, -1, 1, 0, 1, 5);
    const SVTransform3D b = SVTransform3D::RotateAroundVector({1, 1, 0}, 1) * SVTransform3D::Shift({3, 2, 1});
    for (const SVPoint3D& p : kPoints) {
        expectNear((a * b) * p, a * (b * p));
        expectNear(Inverse(a) * (a * p), p);
    }
    const SVTransform3D full(1, 2, 3, 0, 0, 1, 4, 0, 5, 6, 0, 0);
    EXPECT_EQ(full.Determinant(), 1);
    expectNear(Inverse(full) * (full * SVPoint3D(1, 2, 3)), {1, 2, 3});
    SVTransform3D perspective = a;
    perspective.Pz = 0.5;
    EXPECT_FALSE((perspective * b).IsPerspective()) << "not carried";
    expectNear(perspective * SVPoint3D(0, 0, 2), {1.5, 3.5, 3.5});

    SVTransform3D T(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12.5);
    EXPECT_TRUE(T(2, 1) == 10 && T(3, 3) == 1 && T(3, 0) == 0);
    EXPECT_EQ(printedBy([&] { T.pinfo(); }), "1, 2, 3, 4\n5, 6, 7, 8\n9, 10, 11, 12.5\n");
    T.Py = 0.5;
    EXPECT_EQ(T(3, 1), 0) << "whatever the perspective";
    EXPECT_THAT(printedBy([&] { T.pinfo(); }), testing::EndsWith("12.5\n0, 0.5, 0, 1\n"));
    for (const auto& [i, j] : {std::pair(4, 0), std::pair(-1, 0), std::pair(0, 4), std::pair(0, -1)})
        EXPECT_THAT(reportsOf([&, row = i, column = j] { EXPECT_EQ(T(row, column), 0); }),
            ElementsAre("SVTransform::operator(i,j): Index out of bounds"));
}

TEST(TransformPoints, TakesThePointsOfAnArray)
{
    const SVTransform3D T = SVTransform3D::Shift({1, 2, 3});
    EXPECT_EQ(shown(TransformPoints(T, counting<double>(3, 2))), "3x2x1: 1 3 5 4 6 8");
    EXPECT_EQ(shown(TransformPoints(kAffine, counting<double>(2, 2))), "2x2x1: 4 5.5 10 6.5");
    EXPECT_THAT(reportsOf([&] {
        TransformPoints(T, SVDoubleArray());
        TransformPoints(kAffine, SVFloatArray());
        EXPECT_TRUE(TransformPoints(T, counting<double>(2, 3)).IsEmpty());
        TransformPoints(T, counting<float>(3, 1, 2));
        TransformPoints(kAffine, counting<double>(3, 2));
        TransformPoints(kAffine, counting<float>(3));
    }),
        ElementsAre("TransformPoints(Transform3D,DoubleArray: Invalid array size",
            "TransformPoints(Transform3D,FloatArray: Invalid array size",
            "TransformPoints(Transform2D,DoubleArray: Invalid array size",
            "TransformPoints(Transform2D,FloatArray: Invalid array size"));
}

namespace {

struct FakeStorage {
    SVDoubleArray ReadDoubleArray(const std::string& name) const
    {
        const auto found = arrays.find(name);
        return found == arrays.end() ? SVDoubleArray() : found->second;
    }
    void Save(const SVDoubleArray& A, const std::string& name)
    {
        arrays[name] = A;
        steps += name + ";";
    }
    void Save(const std::string& text, const std::string& name) { steps += name + "=" + text + ";"; }
    void Flush() { steps += "flush"; }

    std::map<std::string, SVDoubleArray> arrays;
    std::string steps;
};

} // namespace

TEST(TransformStorage, KeepsWhatItsArrayHolds)
{
    FakeStorage storage;
    const SVTransform3D space(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12);
    WriteOne(storage, "s", space);
    EXPECT_EQ(storage.steps, "s;Seq_s=3D Transform;flush");
    EXPECT_EQ(shown(storage.arrays["s"]), "3x4x1: 1 5 9 2 6 10 3 7 11 4 8 12");
    storage.steps = "";
    WriteOne(storage, "a", kAffine);
    EXPECT_EQ(storage.steps, "a;Seq_a=2D Transform;flush");
    Write(storage, "p", kPerspective);
    EXPECT_EQ(shown(storage.arrays["a"]), "2x3x1: 2 -1 1 1.5 3 4");
    EXPECT_EQ(shown(storage.arrays["p"]), "3x3x1: 1 0 0.05 0.5 2 0.02 2 -1 1");
    SVTransform2D flat = kPerspective;
    EXPECT_TRUE(Read(storage, "a", flat));
    EXPECT_FALSE(flat.IsPerspective());
    EXPECT_TRUE(Read(storage, "p", flat));
    expectNear(flat * SVPoint2D(1, 2), kPerspective * SVPoint2D(1, 2));
    SVTransform3D read;
    EXPECT_TRUE(Read(storage, "s", read));
    EXPECT_EQ(read(2, 3), 12);
    EXPECT_THAT(reportsOf([&] { EXPECT_FALSE(Read(storage, "missing", flat) || Read(storage, "p", read)); }),
        ElementsAre("ReadFromArray(Transform2D): Invalid size for array.",
            "ReadFromArray(Transform3D): Invalid size for array."));
    EXPECT_TRUE(flat.IsPerspective()) << "as it was";
}
