#include "arrays/containers/KRTimeValues.h"

#include "arrays/containers/containers_testing.h"

using namespace containertest;

namespace {

KRTimeValues::Times times(const std::vector<double>& values)
{
    return containerOf<double>(values);
}

TEST(TimeValues, CountAsTheSameWithinATolerance)
{
    EXPECT_TRUE(KRTimeValues::areTheSame(1, 1 + 1.9e-7));
    EXPECT_FALSE(KRTimeValues::areTheSame(1, 1 + 2.1e-7));
    EXPECT_TRUE(KRTimeValues::areTheSame(-3, -3));
    EXPECT_FALSE(KRTimeValues::areTheSame(-3, -3 - 1e-12)); // Of a negative sum only equal ones.
    EXPECT_TRUE(KRTimeValues::areTheSame(kInf, kInf));
}

TEST(TimeValues, FindTheClosestBelow)
{
    const auto list = times({1, 2, 4});
    const std::tuple<double, long, double> cases[] = {{0.5, -1, -1}, {1 - 1e-9, 0, 1}, {1, 0, 1}, {1.5, 0, 1},
        {2 - 1e-9, 1, 2}, {2, 1, 2}, {3.999, 1, 2}, {4 - 1e-9, 2, 4}, {4, 2, 4}, {kInf, 2, 4}};
    for (const auto& [t, index, value] : cases) {
        EXPECT_EQ(KRTimeValues::findIndexOfClosestValueBelow(list, t), index) << t;
        EXPECT_EQ(KRTimeValues::findClosestValueBelow(list, t), value) << t;
    }
    EXPECT_EQ(KRTimeValues::findIndexOfClosestValueBelow(times({}), 1), -1);
    EXPECT_EQ(KRTimeValues::findClosestValueBelow(times({}), 1), -1);
    EXPECT_THAT(messagesOf([] {
        EXPECT_EQ(KRTimeValues::findClosestValueBelow(nullptr, 1), -1);
        EXPECT_EQ(KRTimeValues::findClosestValueBelow(times({1, 2}), kNaN), -1);
        EXPECT_EQ(KRTimeValues::findIndexOfClosestValueBelow(times({1, 2}), kNaN), -1);
        EXPECT_EQ(KRTimeValues::findIndexOfClosestValueBelow(times({1, kNaN, kNaN, 7}), 3), -1);
    }),
        ElementsAre("DoubleArray - findClosestValueBelow, the array is nil.",
            "DoubleArrayContainer-findClosestValueBelow: Error.",
            "DoubleArrayContainer-findClosestValueBelow: Error."));
}

TEST(TimeValues, CombineToAllTimes)
{
    const auto combined = [](const std::vector<double>& a, const std::vector<double>& b) {
        return shown(KRTimeValues::combineTimeArray(times(a), times(b)));
    };
    EXPECT_EQ(combined({1, 3}, {2, 4}), "4x1x1: 1 2 3 4");
    EXPECT_EQ(combined({0, 1}, {0.5, 2}), "4x1x1: 0 0.5 1 2");
    EXPECT_EQ(combined({0.5, 2}, {0, 1}), "4x1x1: 0 0.5 1 2");
    EXPECT_EQ(combined({0, 5}, {0, 6, 7}), "4x1x1: 0 5 6 7");
    // Of two that are the same the first list's.
    const auto first = times({0, 1});
    const auto second = times({0, 1 + 1e-9});
    EXPECT_TRUE(KRTimeValues::combineTimeArray(first, second)->isEqualToArray(first));
    EXPECT_TRUE(KRTimeValues::combineTimeArray(second, first)->isEqualToArray(second));
}

TEST(TimeValues, CombineWithoutANewListWhereOneHoldsAll)
{
    using Times = KRTimeValues::Times;
    const auto expectResult = [](const Times& a, const Times& b, const Times& expected) {
        EXPECT_EQ(KRTimeValues::combineTimeArray(a, b), expected);
    };
    const Times longer = times({0, 1, 2, 3}), shorter = times({1, 3}), equal = times({1, 3}),
                none = times({});
    const Times zero = KRTimeValues::onlyTheZeroTime();
    expectResult(longer, shorter, longer);
    expectResult(shorter, longer, longer);
    expectResult(shorter, equal, equal);
    expectResult(shorter, shorter, shorter);
    expectResult(none, shorter, shorter);
    expectResult(shorter, none, shorter);
    expectResult(zero, shorter, shorter);
    expectResult(shorter, zero, shorter);
    expectResult(zero, zero, zero);
    expectResult(nullptr, shorter, nullptr);
    expectResult(shorter, nullptr, nullptr);
    EXPECT_EQ(shown(zero), "1x1x1: 0");
    // Another list with the single entry 0 is a list as any other.
    EXPECT_EQ(shown(KRTimeValues::combineTimeArray(times({0}), shorter)), "3x1x1: 0 1 3");
}

} // namespace
