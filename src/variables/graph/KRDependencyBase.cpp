#include "variables/graph/KRDependencyBase.h"

#include "diagnostics/KRMessageCenter.h"

#include <algorithm>

namespace {

// The objects that had no times in the walk of this thread. An answer of null isn't cached, so that diamonds
// would otherwise be walked once for each way through them.
class WalkOfTimes {
public:
    WalkOfTimes()
    {
        if (depth_++ == 0)
            withoutTimes_.clear();
    }
    ~WalkOfTimes() { --depth_; }
    WalkOfTimes(const WalkOfTimes&) = delete;
    WalkOfTimes& operator=(const WalkOfTimes&) = delete;

    static bool knowsNoneFor(const KRDependencyBase& object) { return withoutTimes_.contains(&object); }
    static void foundNoneFor(const KRDependencyBase& object) { withoutTimes_.insert(&object); }

private:
    static thread_local int depth_;
    static thread_local KRDependencyBase::Known withoutTimes_;
};
thread_local int WalkOfTimes::depth_ = 0;
thread_local KRDependencyBase::Known WalkOfTimes::withoutTimes_;

} // namespace

std::atomic<bool> KRDependencyBase::allowValidityComputation_ = true;

void KRDependencyBase::setAllowValidityComputation(bool allow)
{
    allowValidityComputation_ = allow;
}

void KRDependencyBase::changesAreAgainAllowed()
{
    KRMessageCenter::addMessage("Internal", "Obsolete use of changesAreAgainAllowed : please report");
}

const KRDependencyBase::Times& KRDependencyBase::continuousDependenceOnTime()
{
    static const Times& anyTime = *new Times(KRDoubleArrayContainer::createArrayOfLength(0));
    return anyTime;
}

void KRDependencyBase::reportWhileNotAllowed() const
{
    if (!allowValidityComputation_)
        KRMessageCenter::addMessage(nullptr);
}

// Asking for leave.

bool KRDependencyBase::allowChange()
{
    Known known;
    return allowChangeKnownResponses(known);
}

bool KRDependencyBase::allowChangeKnownResponses(Known& known)
{
    if (known.contains(this))
        return true;
    for (const Pointer& client : clients())
        if (!client->allowChangeKnownResponses(known))
            return false;
    known.insert(this);
    return true;
}

bool KRDependencyBase::allowComputation()
{
    Known known;
    return allowComputationKnownResponses(known);
}

bool KRDependencyBase::allowComputationKnownResponses(Known& known)
{
    if (known.contains(this))
        return true;
    for (const Pointer& client : clients())
        if (!client->allowComputationKnownResponses(known))
            return false;
    known.insert(this);
    return true;
}

// Spreading a change.

void KRDependencyBase::thisControllerChanged()
{
    thisControllerChangedFor(KRDependencyTimeChange::changeEverything());
}

void KRDependencyBase::thisControllerChangedFor(KRDependencyTimeChange change)
{
    reportWhileNotAllowed();
    Known alreadySentFor;
    thisControllerChangedInternal(change, alreadySentFor);
}

void KRDependencyBase::thisControllerChangedInternal(KRDependencyTimeChange& change, Known& alreadySentFor)
{
    removeCachedTimeValuesAndValidity();
    // All of them first: whoever asks while the message spreads gets new answers alone.
    for (const Pointer& client : allClients())
        client->removeCachedTimeValuesAndValidity();
    const Pointer self = shared_from_this();
    for (const Pointer& client : clients())
        client->supplierChanged(self, change, alreadySentFor);
}

void KRDependencyBase::supplierChanged(const Pointer&, KRDependencyTimeChange& forTime, Known& alreadySentFor)
{
    removeCachedTimeValuesAndValidity();
    if (!alreadySentFor.insert(this).second)
        return;
    const Pointer self = shared_from_this();
    for (const Pointer& client : clients())
        client->supplierChanged(self, forTime, alreadySentFor);
}

void KRDependencyBase::structureChanged(Known& alreadySentFor)
{
    removeCachedTimeValuesAndValidity();
    if (!alreadySentFor.insert(this).second)
        return;
    for (const Pointer& client : clients())
        client->structureChanged(alreadySentFor);
}

// Caches. A value that was computed from the content before a change must not be kept behind it.

void KRDependencyBase::removeCachedTimeValuesAndValidity()
{
    const std::lock_guard lock(dependencyCacheLock_);
    caches_ = {.timeValues = nullptr, .generation = caches_.generation + 1};
}

void KRDependencyBase::justFinishedReading()
{
    {
        const std::lock_guard lock(dependencyCacheLock_);
        if (!caches_.timeValues && caches_.validity == -1 && caches_.maximumTime < 0)
            return;
        caches_ = {.timeValues = nullptr, .generation = caches_.generation + 1};
    }
    KRMessageCenter::addMessage(nullptr);
}

template <class Value>
void KRDependencyBase::keep(Value Caches::*field, const Value& value, std::uint64_t generation)
{
    const std::lock_guard lock(dependencyCacheLock_);
    if (caches_.generation == generation)
        caches_.*field = value;
}

KRDependencyBase::Times KRDependencyBase::timeValues()
{
    std::uint64_t generation = 0;
    {
        const std::lock_guard lock(dependencyCacheLock_);
        if (caches_.timeValues)
            return caches_.timeValues;
        generation = caches_.generation;
    }
    const WalkOfTimes walk;
    if (walk.knowsNoneFor(*this))
        return nullptr;
    Times result;
    for (const Pointer& supplier : suppliersForTimeComputation()) {
        const Times times = supplier->timeValues();
        if (!times || times == result)
            continue;
        const bool isContinuous = times == continuousDependenceOnTime();
        result = isContinuous || !result ? times : combineTimeArray(result, times);
        if (isContinuous || !result)
            break;
    }
    if (result)
        keep(&Caches::timeValues, result, generation);
    else
        walk.foundNoneFor(*this);
    return result;
}

KRDependencyBase::Times KRDependencyBase::timeValuesIgnoringContinuous()
{
    const WalkOfTimes walk;
    Times result;
    for (const Pointer& supplier : suppliersForTimeComputation()) {
        const Times times = supplier->timeValues();
        if (times && times->length() > 0)
            result = result ? combineTimeArray(result, times) : times;
    }
    return result;
}

double KRDependencyBase::maximumTimeValue()
{
    std::uint64_t generation = 0;
    {
        const std::lock_guard lock(dependencyCacheLock_);
        if (caches_.maximumTime >= 0)
            return caches_.maximumTime;
        generation = caches_.generation;
    }
    double latest = 0;
    for (const Pointer& supplier : suppliers())
        if (supplier->isValid())
            latest = std::max(latest, supplier->maximumTimeValue());
    keep(&Caches::maximumTime, latest, generation);
    return latest;
}

bool KRDependencyBase::isValid()
{
    std::uint64_t generation = 0;
    {
        const std::lock_guard lock(dependencyCacheLock_);
        if (caches_.validity != -1)
            return caches_.validity == 1;
        generation = caches_.generation;
    }
    reportWhileNotAllowed();
    const bool valid = computeIfValid();
    keep(&Caches::validity, static_cast<std::int32_t>(valid), generation);
    return valid;
}

bool KRDependencyBase::computeIfValid()
{
    if (!localValidity())
        return false;
    const Objects all = suppliers();
    return std::all_of(all.begin(), all.end(), [](const Pointer& supplier) { return supplier->isValid(); });
}

void KRDependencyBase::updateValidity()
{
    {
        const std::lock_guard lock(dependencyCacheLock_);
        caches_.validity = -1;
    }
    isValid();
}

bool KRDependencyBase::changesFrom(double a, double to)
{
    Known knownToBeNo;
    return willChangeFrom(a, to, knownToBeNo);
}

bool KRDependencyBase::willChangeFrom(double a, double to, Known& knownToBeNo)
{
    if (a == to || knownToBeNo.contains(this))
        return false;
    for (const Pointer& supplier : suppliers())
        if (supplier->willChangeFrom(a, to, knownToBeNo))
            return true;
    knownToBeNo.insert(this);
    return false;
}
