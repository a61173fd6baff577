#pragma once

#include "arrays/containers/KRTimeValues.h"
#include "variables/graph/KRDependencyTimeChange.h"
#include "variables/graph/KRDependencyWalk.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

// A node of a graph in which a change of one object reaches all that depend on it. Suppliers are what an
// object is computed from, clients what is computed from it. An object keeps its suppliers alive and knows
// its clients only as long as they live. There are no circles.
//
// Walks over the graph ask each object once and remember those that have answered, so that diamonds cost no
// more than their edges. They ask what lies deepest first: an object that is asked finds its neighbours
// known. A graph may be of any depth.
//
// The graph is built and changed, and changes are spread, on the main thread. Times and validity may be asked
// on any thread as long as the graph stays as it is: what they cache has a lock, which isn't held while other
// objects are asked.
class KRDependencyBase : public std::enable_shared_from_this<KRDependencyBase> {
public:
    using Pointer = std::shared_ptr<KRDependencyBase>;
    using Objects = KRDependencyWalk::Objects;
    using Known = KRDependencyWalk;
    using Times = KRTimeValues::Times;

    KRDependencyBase() = default;
    virtual ~KRDependencyBase();
    KRDependencyBase(const KRDependencyBase&) = delete;
    KRDependencyBase& operator=(const KRDependencyBase&) = delete;

    // Connects two objects both ways. False for null, and with a report for objects that are connected in
    // this direction already and for a connection that would make a circle.
    bool addClient(const Pointer& client);
    bool addSupplier(const Pointer& supplier);
    void removeClient(const Pointer& client); // Without a connection nothing happens.
    void removeSupplier(const Pointer& supplier);
    void removeConnectionTo(const Pointer& other); // In either direction; none is reported.
    void removeAllConnections();
    // This object's side of a connection alone.
    void addClientInternal(const Pointer& client);
    void addSupplierInternal(const Pointer& supplier);
    void removeClientInternal(const KRDependencyBase& client);
    void removeSupplierInternal(const KRDependencyBase& supplier);
    void clientHasGone();

    Objects clients() const;
    Objects suppliers() const;
    Objects allClients() const; // At any depth, each once.
    Objects allSuppliers() const;
    void accumulateClients(Objects& found, Known& known) const;
    void accumulateSuppliers(Objects& found, Known& known) const;
    // Whether an object depends on this one, or this one on it, at any depth.
    bool existsAsClient(const KRDependencyBase& object) const;
    bool existsAsClient(const KRDependencyBase& object, Known& knownResponsesFrom) const;
    bool existsAsSupplier(const KRDependencyBase& object) const;
    bool existsAsSupplier(const KRDependencyBase& object, Known& knownResponsesFrom) const;

    // Whether every client at any depth allows a change, or a computation. A busy object overrides the form
    // with the set, and asks this class's for its clients.
    bool allowChange();
    virtual bool allowChangeKnownResponses(Known& known);
    bool allowComputation();
    virtual bool allowComputationKnownResponses(Known& known);
    // An object that refused changes calls the first when it allows them again; the second comes to
    // everything that it depends on, and lets out a change that had to wait.
    void allowsChangesAgain();
    virtual void changesMightBeAllowed() { }

    // This object has changed: drops what it caches and tells its clients.
    void thisControllerChanged();
    void thisControllerChangedFor(KRDependencyTimeChange change);
    void thisControllerChangedInternal(KRDependencyTimeChange& change, Known& alreadySentFor);
    // Comes once for each changed supplier. This class drops what it caches each time and passes the message
    // on the first time: the clients hear it after this call.
    virtual void supplierChanged(
        const Pointer& supplier, KRDependencyTimeChange& forTime, Known& alreadySentFor);
    virtual void structureChanged(Known& alreadySentFor); // The same for a change of kind, not of content.
    void removeCachedTimeValuesAndValidity();
    void justFinishedReading(); // Drops what was cached during a reading.
    virtual void setCaching() { } // For objects that can keep their values.

    // Whether anything at the bottom changes between two times.
    bool changesFrom(double a, double to);
    virtual bool willChangeFrom(double a, double to, Known& knownToBeNo);
    virtual Objects suppliersForTimeComputation() const { return suppliers(); }
    // The times for which this object has a value: those of all suppliers together. Null where none knows;
    // continuousDependenceOnTime() where one supplier has a value for any time.
    virtual Times timeValues();
    Times timeValuesIgnoringContinuous(); // Null for none.
    virtual double maximumTimeValue(); // Of the valid suppliers, and at least 0.
    virtual bool isValid();
    virtual bool computeIfValid(); // By default with the own part and all suppliers valid.
    virtual bool localValidity() { return true; } // Of the object's own part.
    void updateValidity(); // Computes it anew.

    // Two lists known by their identity: for a value at any time, and for one that doesn't change with time.
    static const Times& continuousDependenceOnTime();
    static const Times& onlyTheZeroTime() { return KRTimeValues::onlyTheZeroTime(); }
    static Times combineTimeArray(const Times& first, const Times& andTimeArray)
    {
        return KRTimeValues::combineTimeArray(first, andTimeArray);
    }
    // While it is off, changes and validity aren't expected to be asked for.
    static void setAllowValidityComputation(bool allow);
    static void changesAreAgainAllowed(); // Obsolete: it only reports that.

private:
    struct Caches {
        Times timeValues; // Null: not known.
        std::int32_t validity = -1; // -1 not known, 0 invalid, 1 valid.
        double maximumTime = -1; // -1: not known.
        std::uint64_t generation = 0; // Of the content that the caches are for.
    };
    template <class Value>
    void keep(Value Caches::*field, const Value& value, std::uint64_t generation);
    void reportWhileNotAllowed() const;
    void tellClients(KRDependencyTimeChange& change, Known& alreadySentFor);
    bool knowsTimes();
    void askSuppliersForTimes();
    Objects validSuppliers() const;

    mutable std::mutex connectionLock_;
    std::vector<std::weak_ptr<KRDependencyBase>> clients_;
    Objects suppliers_;

    std::mutex dependencyCacheLock_;
    Caches caches_;
    static std::atomic<bool> allowValidityComputation_;
};
