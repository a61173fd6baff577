// The edges of the graph, and the walks that only look at them.

#include "diagnostics/KRMessageCenter.h"
#include "variables/graph/KRDependencyBase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <typeinfo>

namespace {

std::string classNameOf(const KRDependencyBase& object)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(typeid(object).name(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : "";
}

bool contains(const KRDependencyBase::Objects& objects, const KRDependencyBase& sought)
{
    return std::any_of(
        objects.begin(), objects.end(), [&](const auto& object) { return object.get() == &sought; });
}

} // namespace

// The last owner of a supplier may be its client, and so on along a chain: the suppliers are released one
// behind the other.
KRDependencyBase::~KRDependencyBase()
{
    static thread_local Objects* releasing = nullptr;
    for (const Pointer& supplier : suppliers_)
        supplier->removeClientInternal(*this);
    if (releasing) {
        std::ranges::move(suppliers_, std::back_inserter(*releasing));
        return;
    }
    Objects left = std::move(suppliers_);
    releasing = &left;
    while (!left.empty()) {
        const Pointer last = std::move(left.back());
        left.pop_back();
    }
    releasing = nullptr;
}

KRDependencyBase::Objects KRDependencyBase::clients() const
{
    const std::lock_guard lock(connectionLock_);
    Objects living;
    for (const auto& client : clients_)
        if (auto alive = client.lock())
            living.push_back(std::move(alive));
    return living;
}

KRDependencyBase::Objects KRDependencyBase::suppliers() const
{
    const std::lock_guard lock(connectionLock_);
    return suppliers_;
}

bool KRDependencyBase::addClient(const Pointer& client)
{
    if (!client)
        return false;
    if (contains(clients(), *client)) {
        KRMessageCenter::addMessage("Debug: addClient: Trying to add an object twice.");
        return false;
    }
    if (client.get() == this || existsAsSupplier(*client)) {
        KRMessageCenter::addMessage("Debug: addClient: Trying to create an infinite loop.");
        return false;
    }
    addClientInternal(client);
    client->addSupplierInternal(shared_from_this());
    return true;
}

bool KRDependencyBase::addSupplier(const Pointer& supplier)
{
    if (!supplier)
        return false;
    if (contains(suppliers(), *supplier)) {
        KRMessageCenter::addMessage(
            fmt::format("Internal error: Trying to connect an object twice to an object of type \"{}\"",
                classNameOf(*this)));
        return false;
    }
    if (supplier.get() == this || existsAsClient(*supplier)) {
        KRMessageCenter::addMessage("Debug: addSupplier: Trying to create an infinite loop.");
        return false;
    }
    addSupplierInternal(supplier);
    supplier->addClientInternal(shared_from_this());
    return true;
}

void KRDependencyBase::addClientInternal(const Pointer& client)
{
    if (!client)
        return;
    if (contains(clients(), *client)) {
        KRMessageCenter::addMessage("Internal error: Trying to add a client twice.");
        return;
    }
    const std::lock_guard lock(connectionLock_);
    clients_.push_back(client);
}

void KRDependencyBase::addSupplierInternal(const Pointer& supplier)
{
    if (!supplier)
        return;
    if (contains(suppliers(), *supplier)) {
        KRMessageCenter::addMessage("Internal error: Trying to add a supplier twice.");
        return;
    }
    const std::lock_guard lock(connectionLock_);
    suppliers_.push_back(supplier);
}

// Clients that have gone are taken out with it.
void KRDependencyBase::removeClientInternal(const KRDependencyBase& client)
{
    std::vector<Pointer> alive; // Released behind the lock: the last owner of a client may be this one.
    const std::lock_guard lock(connectionLock_);
    std::erase_if(clients_, [&](const std::weak_ptr<KRDependencyBase>& entry) {
        alive.push_back(entry.lock());
        return !alive.back() || alive.back().get() == &client;
    });
}

void KRDependencyBase::removeSupplierInternal(const KRDependencyBase& supplier)
{
    Objects removed; // Released behind the lock.
    const std::lock_guard lock(connectionLock_);
    std::erase_if(suppliers_, [&](const Pointer& entry) {
        if (entry.get() != &supplier)
            return false;
        removed.push_back(entry);
        return true;
    });
}

void KRDependencyBase::removeClient(const Pointer& client)
{
    if (!client)
        return;
    const Pointer kept = client; // The argument may stand in the list.
    removeClientInternal(*kept);
    kept->removeSupplierInternal(*this);
    clientHasGone();
}

// It may have been the one that refused changes.
void KRDependencyBase::clientHasGone()
{
    changesMightBeAllowed();
    allowsChangesAgain();
}

void KRDependencyBase::removeSupplier(const Pointer& supplier)
{
    if (!supplier)
        return;
    const Pointer kept = supplier; // The argument may stand in the list.
    removeSupplierInternal(*kept);
    kept->removeClientInternal(*this);
    kept->clientHasGone();
}

void KRDependencyBase::removeConnectionTo(const Pointer& other)
{
    if (!other)
        return;
    if (!contains(clients(), *other) && !contains(suppliers(), *other))
        KRMessageCenter::addMessage("Told to remove something that wasn't connected.");
    removeClient(other);
    removeSupplier(other);
}

void KRDependencyBase::removeAllConnections()
{
    for (const Pointer& client : clients())
        removeClient(client);
    for (const Pointer& supplier : suppliers())
        removeSupplier(supplier);
}

KRDependencyBase::Objects KRDependencyBase::allClients() const
{
    Objects found;
    Known known;
    accumulateClients(found, known);
    return found;
}

KRDependencyBase::Objects KRDependencyBase::allSuppliers() const
{
    Objects found;
    Known known;
    accumulateSuppliers(found, known);
    return found;
}

namespace {

// The neighbours of an object in one direction.
using Next = KRDependencyBase::Objects (KRDependencyBase::*)() const;

void accumulate(
    const KRDependencyBase& from, Next next, KRDependencyBase::Objects& found, KRDependencyBase::Known& known)
{
    KRDependencyBase::Known::visit((from.*next)(),
        [next](const KRDependencyBase& object) { return (object.*next)(); },
        [&](const KRDependencyBase::Pointer& object) {
            const bool isNew = known.insert(object.get());
            if (isNew)
                found.push_back(object);
            return isNew;
        },
        [](const KRDependencyBase&) { return true; });
}

bool leadsTo(
    const KRDependencyBase& from, Next next, const KRDependencyBase& sought, KRDependencyBase::Known& known)
{
    bool found = false;
    if (known.contains(&from))
        return false;
    KRDependencyBase::Known::visit((from.*next)(),
        [next](const KRDependencyBase& object) { return (object.*next)(); },
        [&](const KRDependencyBase::Pointer& object) {
            found = found || object.get() == &sought;
            return !found && !known.contains(object.get());
        },
        [&](const KRDependencyBase& object) {
            if (!found)
                known.insert(&object);
            return !found;
        });
    if (!found)
        known.insert(&from);
    return found;
}

} // namespace

void KRDependencyBase::accumulateClients(Objects& found, Known& known) const
{
    accumulate(*this, &KRDependencyBase::clients, found, known);
}

void KRDependencyBase::accumulateSuppliers(Objects& found, Known& known) const
{
    accumulate(*this, &KRDependencyBase::suppliers, found, known);
}

bool KRDependencyBase::existsAsClient(const KRDependencyBase& object) const
{
    Known known;
    return existsAsClient(object, known);
}

bool KRDependencyBase::existsAsClient(const KRDependencyBase& object, Known& knownResponsesFrom) const
{
    return leadsTo(*this, &KRDependencyBase::clients, object, knownResponsesFrom);
}

bool KRDependencyBase::existsAsSupplier(const KRDependencyBase& object) const
{
    Known known;
    return existsAsSupplier(object, known);
}

bool KRDependencyBase::existsAsSupplier(const KRDependencyBase& object, Known& knownResponsesFrom) const
{
    return leadsTo(*this, &KRDependencyBase::suppliers, object, knownResponsesFrom);
}
