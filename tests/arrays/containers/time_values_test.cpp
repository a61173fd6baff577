#include "arrays/containers/KRTimeValues.h"

#include "arrays/containers/containers_testing.h"

using namespace containertest;

namespace {

KRTimeValues::Times times(const std::vector<double>& values)
{
    return containerOf<double>(values);
}

TEST(TimeValues, CountAsTheSameWithinAToleranceAndFindTheClosestBelow)
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

    EXPECT_TRUE(KRTimeValues::areTheSame(1, 1 + 1.9e-7));
    EXPECT_FALSE(KRTimeValues::areTheSame(1, 1 + 2.1e-7));
    EXPECT_TRUE(KRTimeValues::areTheSame(-3, -3));
    EXPECT_FALSE(KRTimeValues::areTheSame(-3, -3 - 1e-12)); // Of a negative sum only equal ones.
    EXPECT_TRUE(KRTimeValues::areTheSame(kInf, kInf));
}

TEST(TimeValues, CombineToAllTimes)
{
    const auto combined = [](const std::vector<double>& a, const std::vector<double>& b) {
        return shown(KRTimeValues::combineTimeArray(times(a), times(b)));
    };
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
    const Times longer = times({0, 1, 2, 3}), shorter = times({1, 3}), equal = times({1, 3}),
                none = times({});
    const Times zero = KRTimeValues::onlyTheZeroTime();
    const std::tuple<Times, Times, Times> cases[] = {{longer, shorter, longer}, {shorter, longer, longer},
        {shorter, equal, equal}, {shorter, shorter, shorter}, {none, shorter, shorter},
        {shorter, none, shorter}, {zero, shorter, shorter}, {shorter, zero, shorter}, {zero, zero, zero},
        {nullptr, shorter, nullptr}, {shorter, nullptr, nullptr}};
    for (const auto& [first, second, expected] : cases)
        EXPECT_EQ(KRTimeValues::combineTimeArray(first, second), expected) << shown(first) << shown(second);
    EXPECT_EQ(shown(zero), "1x1x1: 0");
    // Another list with the single entry 0 is a list as any other.
    EXPECT_EQ(shown(KRTimeValues::combineTimeArray(times({0}), shorter)), "3x1x1: 0 1 3");
}

} // namespace
