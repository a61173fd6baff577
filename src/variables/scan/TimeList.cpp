#include "variables/scan/TimeList.h"

#include <algorithm>

TimeList TimeList::regular(std::int64_t count, double first, double step)
{
    TimeList times;
    times.count_ = count;
    times.first_ = first;
    times.step_ = step;
    return times;
}

TimeList TimeList::listed(const std::vector<double>& stored, std::int64_t count, double step)
{
    // Many variables have a single value, and need no list for its time.
    if (stored.size() == 1 && count == 1)
        return regular(1, stored[0], 0);
    TimeList times;
    const auto numbers = std::make_shared<double[]>(stored.size());
    std::copy(stored.begin(), stored.end(), numbers.get());
    times.count_ = count;
    times.listedCount_ = static_cast<std::int64_t>(stored.size());
    times.step_ = step;
    times.listed_ = numbers;
    return times;
}

void TimeList::copyTo(double* into) const
{
    if (!listed_) {
        for (std::int64_t i = 0; i < count_; ++i)
            into[i] = first_ + static_cast<double>(i) * step_;
        return;
    }
    std::copy_n(listed_.get(), listedCount_, into);
    double previous = listedCount_ > 0 ? listed_[listedCount_ - 1] : 0;
    for (std::int64_t i = listedCount_; i < count_; ++i)
        into[i] = previous += step_;
}

std::shared_ptr<KRDoubleArrayContainer> TimeList::asArray() const
{
    auto array = KRDoubleArrayContainer::createArrayOfLength(static_cast<long>(count_));
    if (!array)
        return KRDoubleArrayContainer::createArrayOfLength(0);
    if (count_ > 0)
        copyTo(array->mutablePointer());
    return array;
}

std::vector<double> TimeList::asNumbers() const
{
    std::vector<double> numbers(static_cast<std::size_t>(count_));
    copyTo(numbers.data());
    return numbers;
}
