#include "variables/composites/KRContainerGroup.h"

#include "diagnostics/KRMessageCenter.h"
#include "storage/Redirection.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/StoredWords.h"

namespace names = variables::names;

KRContainerGroup::Pointer KRContainerGroup::createWithNames(
    const Names& names, const Types& types, const std::vector<Value>& entries)
{
    if (names.size() != types.size() || names.size() != entries.size()) {
        KRMessageCenter::addMessage("Internal error, invalid name-type array when creating a group");
        return nullptr;
    }
    const Structure structure = KRVariableStructure::createWithGroupNames(names, types);
    if (!structure)
        return nullptr;
    auto group = std::make_shared<KRContainerGroup>(Private(), structure);
    for (std::size_t i = 0; i < names.size(); ++i)
        group->valueForEntry_[names[i]] = entries[i];
    return group;
}

KRContainerGroup::Pointer KRContainerGroup::createEmpty()
{
    return createWithNames({}, {}, {});
}

KRContainerGroup::Structure KRContainerGroup::structureForEntry(std::string_view name) const
{
    return myStructure_->typeForGroupName(name);
}

bool KRContainerGroup::isEqualTo(const KRSharedValue& other) const
{
    const auto* group = dynamic_cast<const KRContainerGroup*>(&other);
    if (this == &other)
        return true;
    if (!group || !myStructure_->isEqual(group->myStructure_))
        return false;
    for (const std::string& name : myStructure_->groupNames()) {
        const Value mine = valueForEntry(name), others = group->valueForEntry(name);
        if (mine != others && (!mine || !others || !mine->isEqualTo(*others)))
            return false;
    }
    return true;
}

std::uint64_t KRContainerGroup::memoryUsed() const
{
    const std::lock_guard lock(lockForEntries_);
    std::uint64_t bytes = 0;
    for (const auto& [name, value] : valueForEntry_)
        if (const auto* container = dynamic_cast<const KRContainer*>(value.get()))
            bytes += container->memoryUsed();
    return bytes;
}

// Bounds.

template <class Bound>
Bound KRContainerGroup::retrieve(
    const BoundsByEntry<Bound>& bounds, const std::string& entry, Bound invalid) const
{
    const std::lock_guard lock(lockForEntries_);
    if (const auto place = bounds.find(entry); place != bounds.end())
        return place->second;
    if (!isStored())
        return invalid;
    const std::string name = stored_.nameOf(entry);
    const auto end = stored_.storage ? stored_.storage->resolveNameAllowingRedirection(name)
                                     : resolve(name, stored_.structureOfFile);
    const auto place = end ? bounds.find(*end) : bounds.end();
    return place == bounds.end() ? invalid : place->second;
}

KRBoundingRange KRContainerGroup::retrieveValueRange(const std::string& entry) const
{
    return retrieve(valueRanges_, entry, KRBoundingRangeCreateInvalid());
}

KRBoundingRange KRContainerGroup::retrieveBoundingRange(const std::string& entry) const
{
    return retrieveValueRange(entry);
}

KRBoundingBox2D KRContainerGroup::retrieveBoundingBox2D(const std::string& entry) const
{
    return retrieve(boxes2D_, entry, KRBoundingBox2DCreateInvalid());
}

KRBoundingBox3D KRContainerGroup::retrieveBoundingBox3D(const std::string& entry) const
{
    return retrieve(boxes3D_, entry, KRBoundingBox3DCreateInvalid());
}

void KRContainerGroup::setValueRange(const KRBoundingRange& range, const std::string& forEntry)
{
    const std::lock_guard lock(lockForEntries_);
    valueRanges_[forEntry] = range;
    overallRange_.reset();
}

void KRContainerGroup::setBoundingRange(const KRBoundingRange& range, const std::string& forEntry)
{
    setValueRange(range, forEntry);
}

void KRContainerGroup::setBoundingBox2D(const KRBoundingBox2D& box, const std::string& forEntry)
{
    const std::lock_guard lock(lockForEntries_);
    boxes2D_[forEntry] = box;
    overallBox2D_.reset();
}

void KRContainerGroup::setBoundingBox3D(const KRBoundingBox3D& box, const std::string& forEntry)
{
    const std::lock_guard lock(lockForEntries_);
    boxes3D_[forEntry] = box;
}

KRBoundingRange KRContainerGroup::valueRange() const
{
    const std::lock_guard lock(lockForEntries_);
    if (!overallRange_) {
        overallRange_ = KRBoundingRangeCreateEmpty();
        for (const std::string& name : myStructure_->groupNames())
            overallRange_ = KRBoundingRangeUnion(*overallRange_, valueRangeFor(name));
    }
    return *overallRange_;
}

KRBoundingBox2D KRContainerGroup::boundingBox2D() const
{
    const std::lock_guard lock(lockForEntries_);
    if (!overallBox2D_) {
        overallBox2D_ = KRBoundingBox2DCreateEmpty();
        for (const std::string& name : myStructure_->groupNames())
            KRBoundingBox2DAddBoxes(*overallBox2D_, boundingBox2DFor(name));
    }
    return *overallBox2D_;
}

// The older form of a description.

bool KRContainerGroup::saveStructure(
    const KRVariableStructure& structure, const std::string& forName, KRDataStorage& inside)
{
    if (!structure.isAGroup())
        return inside.writeString(structure.type(), forName);
    const auto& entries = structure.groupNames();
    if (!inside.writeNumber(StorageNumber(static_cast<double>(entries.size())), names::count(forName)))
        return false;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto k = static_cast<std::int64_t>(i) + 1;
        const KRVariableStructure& type = *structure.groupTypes()[i];
        const std::string base = names::olderEntryType(forName, k);
        if (!inside.writeString(entries[i], names::entryName(forName, k))
            || !inside.writeString(type.type(), base)
            || (type.isAGroup() && !saveStructure(type, base, inside)))
            return false;
    }
    return true;
}

namespace {

KRVariableStructure::Pointer olderStructure(const std::string& name, KRDataStorage& inside, int nesting)
{
    KRVariableStructure::Names found;
    KRVariableStructure::Types types;
    const auto count = inside.readNumber(names::count(name));
    if (!count) {
        const auto type = variables::wordUnder(inside, name);
        return type && *type != "Group" ? KRVariableStructure::createWithType(*type) : nullptr;
    }
    for (std::int64_t k = 1; count && static_cast<double>(k) <= count->doubleValue(); ++k) {
        const std::string base = names::olderEntryType(name, k);
        const auto type = variables::wordUnder(inside, base);
        const auto entry = variables::wordUnder(inside, names::entryName(name, k));
        if (!type || !entry)
            break;
        if (*type == "Series")
            KRMessageCenter::addMessage("Haven't implement ContainerSeries:structureFromName");
        const bool isTooDeep = nesting >= KRVariableStructure::kMostNesting;
        const auto part = *type == "Series" || isTooDeep ? nullptr
            : *type == "Group"                           ? olderStructure(base, inside, nesting + 1)
                                                         : KRVariableStructure::createWithType(*type);
        if (!part)
            break;
        found.push_back(*entry);
        types.push_back(part);
    }
    return found.empty() ? nullptr : KRVariableStructure::createWithGroupNames(found, types);
}

} // namespace

KRContainerGroup::Structure KRContainerGroup::structureFromName(
    const std::string& name, KRDataStorage& inside)
{
    return olderStructure(name, inside, 0);
}

std::optional<std::string> KRContainerGroup::resolve(
    const std::string& name, const platform::Value& withContent)
{
    const auto file = KRDataFile::createFromStructure(withContent);
    if (!file)
        return std::nullopt;
    return storage::endOfRedirections(name, [&](const std::string& current) {
        auto text = file->isAString(current) ? file->readRawString(current) : std::nullopt;
        return file->contains(text) ? text : std::nullopt; // Any other text is a value.
    });
}
