#pragma once

#include "arrays/containers/KRTimeValues.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

// Which times a change touches. While it spreads, it carries the objects that the change says are gone and
// time lists that belong to objects, known by their identity. One thread.
class KRDependencyTimeChange {
public:
    using Times = KRTimeValues::Times;

    static KRDependencyTimeChange changeEverything() { return {-1, -1}; }
    static KRDependencyTimeChange nothingChanged(); // At no finite time.
    static KRDependencyTimeChange changeAt(double t) { return {t, -1}; } // From t on.
    static KRDependencyTimeChange changesAt(double t, double untilAndNotIncluding)
    {
        return {t, untilAndNotIncluding};
    }

    double changeHappened() const { return changeHappened_; }
    double untilTime() const { return untilTime_; } // Negative for no end.
    bool changesAt(double t) const;
    bool allTimesChange() const { return changeHappened_ <= 0 && untilTime_ < 0; }
    std::string description() const;

    void setTimeValues(Times times, const void* forObject)
    {
        timeValuesForPointer_[forObject] = std::move(times);
    }
    Times timeValueForObject(const void* object) const; // Null for none.
    std::vector<std::shared_ptr<void>>& deleteList() { return deleteList_; }

private:
    KRDependencyTimeChange(double changeHappened, double untilTime)
        : changeHappened_(changeHappened), untilTime_(untilTime)
    { }

    double changeHappened_;
    double untilTime_;
    std::vector<std::shared_ptr<void>> deleteList_;
    std::map<const void*, Times> timeValuesForPointer_;
};
