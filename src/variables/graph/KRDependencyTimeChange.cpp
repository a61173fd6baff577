#include "variables/graph/KRDependencyTimeChange.h"

#include <fmt/printf.h>

#include <limits>

KRDependencyTimeChange KRDependencyTimeChange::nothingChanged()
{
    constexpr double kNever = std::numeric_limits<double>::infinity();
    return {kNever, kNever};
}

bool KRDependencyTimeChange::changesAt(double t) const
{
    return changeHappened_ <= t && (untilTime_ < 0 || t < untilTime_);
}

std::string KRDependencyTimeChange::description() const
{
    return untilTime_ < 0 ? fmt::sprintf("Change at %g", changeHappened_)
                          : fmt::sprintf("Change at %g until %g", changeHappened_, untilTime_);
}

KRDependencyTimeChange::Times KRDependencyTimeChange::timeValueForObject(const void* object) const
{
    const auto place = timeValuesForPointer_.find(object);
    return place == timeValuesForPointer_.end() ? nullptr : place->second;
}
