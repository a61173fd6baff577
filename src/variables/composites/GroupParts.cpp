// The entries of groups: what each kind of entry is made of, read from and written to.

#include "diagnostics/KRMessageCenter.h"
#include "variables/composites/KRContainerGroup.h"
#include "variables/composites/PartValues.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/KRVariableModulesPref.h"
#include "variables/structures/StoredWords.h"
#include "variables/values/StoredNumbers.h"

#include <fmt/format.h>

namespace names = variables::names;

namespace {

// Values of other types aren't read to find a bound.
bool hasBound(std::string_view property, const KRVariableStructure::Pointer& type)
{
    return type && KRVariableModulesPref::shared()->respondsTo(property, type->type());
}

bool isComposite(const KRVariableStructure& type)
{
    return type.isAGroup() || type.isASeries();
}

// Names and types as older and newer programs write them beside the values of a group.
struct OlderEntry {
    std::optional<std::string> name;
    std::optional<std::string> type;
};

OlderEntry olderEntry(KRDataStorage& storage, const std::string& group, std::int64_t k)
{
    OlderEntry entry;
    entry.name = variables::wordUnder(storage, fmt::format("{}_N{}_name", group, k));
    if (entry.name) {
        entry.type = variables::wordUnder(storage, fmt::format("{}_{}_type", group, *entry.name));
        return entry;
    }
    entry.name = variables::wordUnder(storage, fmt::format("{}_{}_name", group, k));
    entry.type = variables::wordUnder(storage, fmt::format("{}_{}_type", group, k));
    return entry;
}

// How many entries an older group claims; nothing for what is no older group.
std::optional<double> olderCount(KRDataStorage& storage, const std::string& group)
{
    const auto count =
        storage.contains(group) && storage.isANumber(group) ? storage.readNumber(group) : std::nullopt;
    return count ? std::optional(count->doubleValue()) : std::nullopt;
}

std::string entriesText(std::size_t entries)
{
    return entries == 0 ? "Empty" : entries == 1 ? "1 entry" : fmt::format("{} entries", entries);
}

KRContainer::Value readGroup(KRDataStorage& storage, const std::string& name)
{
    const auto count = olderCount(storage, name);
    if (!count) {
        const auto structure = KRVariableStructure::groupStructureFromName(names::description(name), storage);
        const auto kept = storage.weak_from_this().lock();
        return structure && kept ? KRContainerGroup::createWithDataFile(kept, name, structure) : nullptr;
    }
    if (!(*count > 0))
        return nullptr;
    KRContainerGroup::Names found;
    KRContainerGroup::Types types;
    std::vector<KRContainer::Value> values;
    for (std::int64_t k = 1; static_cast<double>(k) <= *count; ++k) {
        const OlderEntry entry = olderEntry(storage, name, k);
        if (!entry.name || !entry.type)
            return nullptr;
        const auto value = ReadingOperations::read(*entry.type, storage, names::part(name, *entry.name));
        if (!value)
            return nullptr;
        found.push_back(*entry.name);
        types.push_back(variables::structureOf(value, *entry.type));
        values.push_back(value);
    }
    return variables::withParameters(KRContainerGroup::createWithNames(found, types, values), storage, name);
}

} // namespace

const ReadingOperation KRContainerGroup::kReading{
    .type = "Group", .read = readGroup, .descriptionFor = descriptionFor, .createEmpty = [] {
        return Value(createEmpty());
    }};

KRContainer::Value KRContainerGroup::readGroupWithReference(
    const std::string& name, KRDataStorage& storage, const FileName& fileObject, const Structure& structure)
{
    const Structure found = structure
        ? structure
        : KRVariableStructure::groupStructureFromName(names::description(name), storage);
    const auto group = found ? createWithDataFile(storage.weak_from_this().lock(), name, found) : nullptr;
    if (group)
        group->fileObject_ = fileObject;
    return group;
}

std::string KRContainerGroup::descriptionFor(const std::string& name, KRDataStorage& inFile)
{
    const auto older = olderCount(inFile, name);
    if (!older) {
        const auto structure = KRVariableStructure::groupStructureFromName(names::description(name), inFile);
        return entriesText(structure ? structure->groupNames().size() : 0);
    }
    std::size_t count = 0;
    for (; static_cast<double>(count) < *older; ++count) {
        const OlderEntry entry = olderEntry(inFile, name, static_cast<std::int64_t>(count) + 1);
        if (!entry.name || !entry.type || !inFile.contains(names::part(name, *entry.name)))
            return entriesText(0); // Such a group has no value.
    }
    return entriesText(count);
}

std::string KRContainerGroup::description() const
{
    return entriesText(myStructure_->groupNames().size());
}

KRContainerGroup::Pointer KRContainerGroup::createEmptyWithStructure(const Structure& structure)
{
    if (!structure || !structure->isAGroup())
        return nullptr;
    std::vector<Value> values;
    for (const Structure& type : structure->groupTypes())
        values.push_back(variables::emptyValue(type));
    return createWithNames(structure->groupNames(), structure->groupTypes(), values);
}

KRContainerGroup::Pointer KRContainerGroup::createStored(
    variables::StoredParts place, const Structure& structure)
{
    if (!place || !structure || !structure->isAGroup()) {
        KRMessageCenter::addMessage("Internal error: nil pointer being passed into a createWithFile");
        return nullptr;
    }
    SubGroups subGroups;
    for (std::size_t i = 0; i < structure->groupNames().size(); ++i) {
        const Structure& type = structure->groupTypes()[i];
        if (!isComposite(*type))
            continue;
        const std::string& name = structure->groupNames()[i];
        auto part = variables::storedComposite(type, place.within(name));
        if (!part)
            return nullptr;
        subGroups[name] = std::move(part);
    }
    auto group = std::make_shared<KRContainerGroup>(Private(), structure);
    group->stored_ = std::move(place);
    group->theSavedGroups_ = std::move(subGroups);
    group->readStoredParameters();
    return group;
}

KRContainerGroup::Pointer KRContainerGroup::createStored(variables::StoredParts place, const Names& names,
    const Types& types, const SubGroups& subGroups, const char* missing)
{
    const Structure structure = KRVariableStructure::createWithGroupNames(names, types);
    if (!structure || !place) {
        KRMessageCenter::addMessage("Internal error: nil pointer being passed into a createWithFile");
        return nullptr;
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto given = subGroups.find(names[i]);
        if (isComposite(*types[i]) && (given == subGroups.end() || !given->second)) {
            KRMessageCenter::addMessage("Internal Error", missing);
            return nullptr;
        }
    }
    auto group = std::make_shared<KRContainerGroup>(Private(), structure);
    group->stored_ = std::move(place);
    group->theSavedGroups_ = subGroups;
    group->readStoredParameters();
    return group;
}

void KRContainerGroup::readStoredParameters()
{
    if (const auto reader = stored_.base ? stored_.reader() : nullptr)
        readFromFile(*reader, *stored_.base);
}

KRContainerGroup::Pointer KRContainerGroup::createWithFile(const FileName& file,
    const platform::Value& fileStructure, const std::optional<std::string>& nameInsideFile,
    const Structure& structure)
{
    if (file && fileStructure.isNull()) {
        KRMessageCenter::addMessage("Internal error, creating a group with a file, but no structure.");
        return nullptr;
    }
    return createStored({nullptr, file, fileStructure, nameInsideFile}, structure);
}

KRContainerGroup::Pointer KRContainerGroup::createWithDataFile(const std::shared_ptr<KRDataStorage>& file,
    const std::optional<std::string>& nameInsideFile, const Structure& structure)
{
    return createStored({file, nullptr, {}, nameInsideFile}, structure);
}

KRContainerGroup::Pointer KRContainerGroup::createWithFile(const FileName& file,
    const platform::Value& fileStructure, const std::optional<std::string>& nameInsideFile,
    const Names& names, const Types& types, const SubGroups& subGroups)
{
    return createStored({nullptr, file, fileStructure, nameInsideFile}, names, types, subGroups,
        "Internal Error, please report:\nWhen creating a disk based group, one of the sub groups was not "
        "specified");
}

KRContainerGroup::Pointer KRContainerGroup::createWithDataFile(const std::shared_ptr<KRDataStorage>& file,
    const std::optional<std::string>& nameInsideFile, const Names& names, const Types& types,
    const SubGroups& subGroups)
{
    return createStored({file, nullptr, {}, nameInsideFile}, names, types, subGroups,
        "Internal Error, please report:\nWhen creating a data storage based group, one of the sub "
        "groups/series was not specified");
}

KRContainer::Value KRContainerGroup::valueForEntry(const std::optional<std::string>& name) const
{
    if (!name)
        return nullptr;
    const std::lock_guard lock(lockForEntries_);
    if (!isStored()) {
        const auto place = valueForEntry_.find(*name);
        return place == valueForEntry_.end() ? nullptr : place->second;
    }
    if (const auto saved = theSavedGroups_.find(*name); saved != theSavedGroups_.end())
        return saved->second;
    const Structure type = structureForEntry(*name);
    return type ? variables::storedValue(type, stored_.within(*name)) : nullptr;
}

std::string KRContainerGroup::descriptionForEntry(const std::optional<std::string>& name) const
{
    if (!name)
        return "Internal Error";
    const Structure type = structureForEntry(*name);
    if (!type)
        return "(Empty)";
    const std::lock_guard lock(lockForEntries_);
    if (const auto known = descriptions_.find(*name); known != descriptions_.end())
        return known->second;
    const bool asksFile = isStored() && !isComposite(*type);
    std::string text = asksFile ? variables::descriptionOfStored(type, stored_.within(*name))
                                : variables::descriptionOfHeld(valueForEntry(name));
    return descriptions_[*name] = std::move(text);
}

KRBoundingRange KRContainerGroup::valueRangeFor(const std::string& entry) const
{
    const std::lock_guard lock(lockForEntries_);
    if (const auto known = valueRanges_.find(entry); known != valueRanges_.end())
        return known->second;
    const bool hasOne = hasBound("valueRange", structureForEntry(entry));
    const auto value = std::dynamic_pointer_cast<const KRContainer>(hasOne ? valueForEntry(entry) : nullptr);
    return valueRanges_[entry] = value ? value->valueRange() : KRBoundingRangeCreateInvalid();
}

KRBoundingBox2D KRContainerGroup::boundingBox2DFor(const std::string& entry) const
{
    const std::lock_guard lock(lockForEntries_);
    if (const auto known = boxes2D_.find(entry); known != boxes2D_.end())
        return known->second;
    const bool hasOne = hasBound("boundingBox2D", structureForEntry(entry));
    const auto value = std::dynamic_pointer_cast<const KRContainer>(hasOne ? valueForEntry(entry) : nullptr);
    return boxes2D_[entry] = value ? value->boundingBox2D() : KRBoundingBox2DCreateInvalid();
}

// Saving.

bool KRContainerGroup::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return saveIntoFile(file, withName, nullptr);
}

bool KRContainerGroup::saveIntoFile(
    KRDataStorage& file, const std::string& withName, KRDataStorageSharedReadWrite* info) const
{
    const std::lock_guard lock(lockForEntries_);
    if (!KRContainer::saveIntoFile(file, withName))
        return false;
    const auto shared = info ? nullptr : KRDataStorageSharedReadWrite::createWithDataFile(&file);
    std::set<std::string_view> saved;
    for (const std::string& name : myStructure_->groupNames()) {
        // A name that comes twice stands for one value.
        const Value value = saved.insert(name).second ? valueForEntry(name) : nullptr;
        if (value
            && !variables::savePart(value, file, names::part(withName, name), info ? info : shared.get()))
            return false;
    }
    return file.writeArray(variables::arrayOf<double>({}), withName); // The mark of a group.
}

bool KRContainerGroup::holdsEntry(const Structure& type, const std::string& name) const
{
    const Structure mine = structureForEntry(name);
    return mine && mine->isEqual(type);
}

bool KRContainerGroup::saveSubGroup(const Structure& structure, KRDataStorage& intoFile,
    const std::string& withName, KRDataStorageSharedReadWrite* info) const
{
    if (!structure || !structure->isAGroup())
        return false;
    const std::lock_guard lock(lockForEntries_);
    if (!KRContainer::saveIntoFile(intoFile, withName))
        return false;
    std::set<std::string_view> saved;
    for (const std::string& name : structure->groupNames()) {
        if (!saved.insert(name).second)
            continue;
        const Structure type = structure->typeForGroupName(name);
        const std::string place = names::part(withName, name);
        const Value mine = valueForEntry(name);
        const auto* const group = dynamic_cast<const KRContainerGroup*>(mine.get());
        if (type->isAGroup() && group) {
            if (!group->saveSubGroup(type, intoFile, place, info))
                return false;
            continue;
        }
        const Value value = mine && holdsEntry(type, name) ? mine : variables::emptyValue(type);
        if (value && !variables::savePart(value, intoFile, place, info))
            return false;
    }
    return intoFile.writeArray(variables::arrayOf<double>({}), withName);
}

bool KRContainerGroup::saveToDisk()
{
    constexpr const char* kBase = "Var";
    const std::lock_guard lock(lockForEntries_);
    if (isStored())
        return true;
    const auto name = KRContainerFileName::checkOutTemporaryName();
    if (!name)
        return false;
    const auto container = KRContainerFileName::createWithTemporaryFile(*name + ".svbin");
    const auto file = KRDataFile::openNewFileWithName(*name + ".svbin");
    if (!container || !file || !saveIntoFile(*file, kBase))
        return false;
    file->addIndexBlock();
    file->flush();
    file->setFileContainer(container);
    // The open file, too: texts can't be read through a structure.
    const variables::StoredParts place{file, container, file->structure(), kBase};
    SubGroups saved;
    for (const auto& [entry, value] : valueForEntry_)
        if (const Structure type = structureForEntry(entry); type && isComposite(*type)) {
            auto part = variables::storedComposite(type, place.within(entry));
            if (!part)
                return false;
            saved[entry] = std::move(part);
        }
    stored_ = place;
    theSavedGroups_ = std::move(saved);
    valueForEntry_.clear();
    return true;
}

KRContainerGroup::Pointer KRContainerGroup::reflectStorageIn(
    const FileName& file, const platform::Value& fileStructure, const std::string& withName) const
{
    return createWithFile(file, fileStructure, withName, myStructure_);
}
