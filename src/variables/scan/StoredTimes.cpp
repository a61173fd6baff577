#include "variables/scan/StoredTimes.h"

#include "platform/files/Paths.h"
#include "storage/KRDataFile.h"
#include "variables/structures/EntryNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace names = variables::names;

namespace {

using Fault = ScanReports::Fault;

// A count beyond this is compared with the number of entries in the storage.
constexpr std::int64_t kMostUncheckedValues = 131072;

std::string nameOfFile(KRDataStorage& storage)
{
    auto* const file = dynamic_cast<KRDataFile*>(&storage);
    return file ? platform::paths::lastComponent(file->fileName()) : "";
}

// Whether a stored list can be the times of a variable. Entries are compared with the first one, not with the
// one before: files with lists that fall in between exist and are read. NaNs pass.
platform::Status isOrdered(const KRDoubleArrayContainer& times, const std::string& nameOfArray)
{
    const double* const entries = times.constPointer();
    if (times.length() > 0 && entries[0] < 0)
        return platform::Error{fmt::format("First time value for \"{}\" needs to be >=0.", nameOfArray)};
    for (long i = 1; i < times.length(); ++i)
        if (entries[i] <= entries[0])
            return platform::Error{
                fmt::format("Time array for \"{}\" needs to be strictly increasing.", nameOfArray)};
    return {};
}

// The distance of the times that are made up behind the last stored ones, of which there is at least one.
double stepBehind(const std::vector<double>& stored)
{
    if (stored.size() >= 2)
        return stored.back() - stored[stored.size() - 2];
    return stored[0] > 0 ? stored[0] : 1;
}

} // namespace

StoredTimes::StoredTimes(
    KRDataStorage& storage, std::shared_ptr<KRProgressEntry> progress, ScanReports& reports)
    : storage_(storage), progress_(std::move(progress)), reports_(reports)
{ }

bool StoredTimes::exists(const std::string& name, std::int64_t step)
{
    return storage_.contains(names::value(name, step));
}

std::int64_t StoredTimes::entriesOfStorage()
{
    if (!entriesOfStorage_)
        entriesOfStorage_ = static_cast<std::int64_t>(storage_.variablesWithPrefix("").size());
    return *entriesOfStorage_;
}

std::int64_t StoredTimes::countVariables(const std::string& name)
{
    if (!exists(name, 0))
        return storage_.contains(name) ? 1 : 0;
    std::int64_t low = 0; // Exists.
    std::int64_t high = 8; // Doesn't exist, in the end.
    while (exists(name, high)) {
        low = high;
        high *= 2;
        // A few entries far apart could claim any count: so many values can't be there.
        if (high >= kMostUncheckedValues && high > entriesOfStorage())
            break;
    }
    while (low + 1 < high) {
        const std::int64_t middle = (low + high) / 2;
        (exists(name, middle) ? low : high) = middle;
    }
    return high;
}

TimeList StoredTimes::timesOf(const std::string& name, double timeStep, float start, float share)
{
    const std::int64_t count = countVariables(name);
    if (auto stored = allTimes(name, count))
        return std::move(*stored);
    if (count == 0)
        return {};
    if (timeStep >= 0 && std::isfinite(timeStep))
        return TimeList::regular(count, 0, timeStep == 0 ? 1 : timeStep);
    return timesOneByOne(name, count, start, share);
}

StoredTimes::ArrayOfTimes StoredTimes::arrayOfTimes(const std::string& name, std::int64_t count)
{
    const bool canBeRead = storage_.contains(name) && !storage_.isAString(name);
    // Compared before it is read: the size is the file's own.
    const auto size = canBeRead ? storage_.getSizeOfVariable(name) : std::nullopt;
    if (!size)
        return {};
    if (static_cast<double>(size->m) * size->n * size->o != static_cast<double>(count))
        return {nullptr, false};
    auto array = storage_.readDoubleArray(name);
    const bool isWhole = array && array->length() == count;
    return {isWhole ? std::move(array) : nullptr, !isWhole};
}

std::optional<TimeList> StoredTimes::allTimes(const std::string& name, std::int64_t count)
{
    const std::string first = names::allTimes(name), second = names::allTimesOfSeries(name);
    if (!storage_.contains(first) && !storage_.contains(second))
        return std::nullopt;
    std::string nameOfArray = first;
    auto times = arrayOfTimes(first, count);
    if (times.couldNotBeRead) {
        nameOfArray = second;
        times = arrayOfTimes(second, count);
    }
    if (!times.array && count == 0)
        return std::nullopt;
    if (!times.array) {
        reports_.report(Fault::TimeArraySize, name,
            fmt::format("The array \"{}\" didn't have the right size.", nameOfArray));
        return std::nullopt;
    }
    if (const auto status = isOrdered(*times.array, nameOfArray); !status) {
        reports_.report(Fault::TimeArrayOrder, name, status.error().text);
        return std::nullopt;
    }
    return TimeList::listed({times.array->constPointer(), times.array->constPointer() + count}, count);
}

// Stops at the first time that is missing or wrong, and when the user aborts.
std::vector<double> StoredTimes::readTimes(
    const std::string& name, std::int64_t count, float start, float share)
{
    const std::int64_t interval = std::max<std::int64_t>(count / 20, 100);
    const float shareOfOne = share / static_cast<float>(count);
    const bool hasBareName = storage_.contains(name);
    std::vector<double> times;
    double previous = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        if (progress_ && i % interval == 0) {
            if (progress_->userHasAborted())
                break;
            progress_->updatePercentage(start + static_cast<float>(i) * shareOfOne);
        }
        const auto number =
            storage_.readNumber(i == 0 && hasBareName ? names::time(name) : names::time(name, i));
        if (!number)
            break;
        const double time = number->doubleValue();
        if (time <= previous && (i > 0 || time < 0)) {
            reports_.report(Fault::TimeOrder, name,
                fmt::format("The time information for {} goes backward for entry number {}.", name, i));
            break;
        }
        times.push_back(time);
        previous = time;
    }
    return times;
}

TimeList StoredTimes::timesOneByOne(const std::string& name, std::int64_t count, float start, float share)
{
    const std::vector<double> stored = readTimes(name, count, start, share);
    if (stored.empty())
        return TimeList::regular(count, 0, 1);
    const auto found = static_cast<std::int64_t>(stored.size());
    if (found == count)
        return TimeList::listed(stored, count);
    reports_.report(Fault::TimesMissing, name, "Not all time values were saved",
        fmt::format(
            "When reading from \"{}\", only the first {} of {} timevalues were saved for \"{}\".  The "
            "most likely cause of this is that the file is currently being written.  In order to avoid "
            "this problem, write the time value before you write the variable.  That way the time step "
            "will exist if the variable can be read.",
            nameOfFile(storage_), found, count, name));
    return TimeList::listed(stored, count, stepBehind(stored));
}
