#pragma once

#include "arrays/containers/KRArrayContainer.h"

#include <cstdint>
#include <memory>
#include <vector>

// The time values of one variable, one for each stored value. Times at a constant distance take no memory of
// their own, whatever their count, and so does the part of a list that is made up behind the stored ones: a
// bad file can claim any count. Immutable: any thread.
class TimeList {
public:
    TimeList() = default; // No times.
    static TimeList regular(std::int64_t count, double first, double step);
    // The stored times, and then further ones, each the one before plus the step, up to the count.
    static TimeList listed(const std::vector<double>& stored, std::int64_t count, double step = 0);

    std::int64_t count() const { return count_; }
    // As a new array; empty without memory for it, which the array reports.
    std::shared_ptr<KRDoubleArrayContainer> asArray() const;
    std::vector<double> asNumbers() const;

private:
    void copyTo(double* into) const;

    std::int64_t count_ = 0;
    std::int64_t listedCount_ = 0;
    double first_ = 0; // Of regular ones.
    double step_ = 0;
    std::shared_ptr<const double[]> listed_; // Null for regular ones.
};
