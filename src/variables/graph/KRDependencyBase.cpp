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
    static thread_local std::unordered_set<const KRDependencyBase*> withoutTimes_;
};
thread_local int WalkOfTimes::depth_ = 0;
thread_local std::unordered_set<const KRDependencyBase*> WalkOfTimes::withoutTimes_;

using Known = KRDependencyBase::Known;

// Whether every client at any depth answers true.
template <class Ask>
bool everyClientAllows(const KRDependencyBase& object, Known& known, Ask ask)
{
    return Known::visit(
        object.clients(), [](const KRDependencyBase& client) { return client.clients(); },
        [&](const auto& client) { return !known.contains(client.get()); },
        [&](KRDependencyBase& client) {
            const bool allows = ask(client);
            if (allows)
                known.insert(&client);
            return allows;
        });
}

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
    const bool allowed = everyClientAllows(
        *this, known, [&](KRDependencyBase& client) { return client.allowChangeKnownResponses(known); });
    if (allowed)
        known.insert(this);
    return allowed;
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
    const bool allowed = everyClientAllows(
        *this, known, [&](KRDependencyBase& client) { return client.allowComputationKnownResponses(known); });
    if (allowed)
        known.insert(this);
    return allowed;
}

void KRDependencyBase::allowsChangesAgain()
{
    for (const Pointer& supplier : allSuppliers())
        supplier->changesMightBeAllowed();
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
    tellClients(change, alreadySentFor);
}

void KRDependencyBase::tellClients(KRDependencyTimeChange& change, Known& alreadySentFor)
{
    alreadySentFor.spread(&change, shared_from_this(), [&](const Pointer& supplier) {
        for (const Pointer& client : supplier->clients())
            client->supplierChanged(supplier, change, alreadySentFor);
    });
}

void KRDependencyBase::supplierChanged(const Pointer&, KRDependencyTimeChange& forTime, Known& alreadySentFor)
{
    removeCachedTimeValuesAndValidity();
    if (alreadySentFor.insert(this))
        tellClients(forTime, alreadySentFor);
}

void KRDependencyBase::structureChanged(Known& alreadySentFor)
{
    removeCachedTimeValuesAndValidity();
    if (!alreadySentFor.insert(this))
        return;
    alreadySentFor.spread(&alreadySentFor, shared_from_this(), [&](const Pointer& supplier) {
        for (const Pointer& client : supplier->clients())
            client->structureChanged(alreadySentFor);
    });
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

bool KRDependencyBase::knowsTimes()
{
    const std::lock_guard lock(dependencyCacheLock_);
    return caches_.timeValues || WalkOfTimes::knowsNoneFor(*this);
}

void KRDependencyBase::askSuppliersForTimes()
{
    Known::visit(
        suppliersForTimeComputation(),
        [](const KRDependencyBase& supplier) { return supplier.suppliersForTimeComputation(); },
        [](const Pointer& supplier) { return !supplier->knowsTimes(); },
        [](KRDependencyBase& supplier) {
            supplier.timeValues();
            return true;
        });
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
    askSuppliersForTimes();
    Times result;
    for (const Pointer& supplier : suppliersForTimeComputation()) {
        const Times times = walk.knowsNoneFor(*supplier) ? nullptr : supplier->timeValues();
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
    askSuppliersForTimes();
    Times result;
    for (const Pointer& supplier : suppliersForTimeComputation()) {
        const Times times = supplier->timeValues();
        if (times && times->length() > 0)
            result = result ? combineTimeArray(result, times) : times;
    }
    return result;
}

KRDependencyBase::Objects KRDependencyBase::validSuppliers() const
{
    Objects valid = suppliers();
    std::erase_if(valid, [](const Pointer& supplier) { return !supplier->isValid(); });
    return valid;
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
    const auto knowsMaximum = [](KRDependencyBase& object) {
        const std::lock_guard lock(object.dependencyCacheLock_);
        return object.caches_.maximumTime >= 0;
    };
    Known::visit(
        validSuppliers(), [](const KRDependencyBase& supplier) { return supplier.validSuppliers(); },
        [&](const Pointer& supplier) { return !knowsMaximum(*supplier); },
        [](KRDependencyBase& supplier) {
            supplier.maximumTimeValue();
            return true;
        });
    double latest = 0;
    for (const Pointer& supplier : validSuppliers())
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
    const auto knowsValidity = [](KRDependencyBase& object) {
        const std::lock_guard lock(object.dependencyCacheLock_);
        return object.caches_.validity != -1;
    };
    Known::visit(
        suppliers(), [](const KRDependencyBase& supplier) { return supplier.suppliers(); },
        [&](const Pointer& supplier) { return !knowsValidity(*supplier); },
        [](KRDependencyBase& supplier) {
            supplier.isValid();
            return true;
        });
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
    const Objects direct = suppliers();
    Known::visit(
        direct, [](const KRDependencyBase& supplier) { return supplier.suppliers(); },
        [&](const Pointer& supplier) {
            return !knownToBeNo.contains(supplier.get()) && !knownToBeNo.hasObjected(supplier.get());
        },
        [&](KRDependencyBase& supplier) {
            if (supplier.willChangeFrom(a, to, knownToBeNo))
                knownToBeNo.insertObjection(&supplier);
            else
                knownToBeNo.insert(&supplier);
            return true;
        });
    if (std::any_of(direct.begin(), direct.end(),
            [&](const Pointer& supplier) { return knownToBeNo.hasObjected(supplier.get()); }))
        return true;
    knownToBeNo.insert(this);
    return false;
}
