#pragma once

#include "arrays/containers/KRArrayContainer.h"

#include <memory>

// Lists of times: rising arrays of doubles. Failures are reported to the message center. Any thread, as long
// as nobody changes the lists.
class KRTimeValues {
public:
    using Times = std::shared_ptr<const KRDoubleArrayContainer>;

    // Equal, or apart by no more than 1e-7 of their sum. With a negative sum only equal ones are the same.
    static bool areTheSame(double a, double b);

    // The list of what doesn't change with time: one entry, 0. Known by its identity, not by its content.
    static const Times& onlyTheZeroTime();

    // The last entry that isn't above t, where an entry counts as reached if it is the same as t. -1 if there
    // is none. A NaN has none and is reported.
    static double findClosestValueBelow(const Times& times, double t);
    // Its position; -1 if there is none, and for a NaN, without a report.
    static long findIndexOfClosestValueBelow(const Times& times, double t);

    // All times of both lists; of two that are the same the one of the first list. A list that holds all of
    // the other is the result itself. Null if one is null.
    static Times combineTimeArray(const Times& first, const Times& andTimeArray);
};
