#pragma once

#include "variables/composites/StoredParts.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/structures/KRVariableStructure.h"
#include "variables/values/KRContainer.h"

#include <map>
#include <mutex>
#include <set>
#include <vector>

// Named values of given types, in memory or as references into a data file: a stored group holds names
// alone and reads an entry when it is asked for. In a file V each entry lies under V_name by its own rules,
// and V itself is an empty array.
//
// Any thread may ask a group. Its lock is recursive, and is held while an entry is read and while the group
// is saved.
class KRContainerGroup final : public KRContainer {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerGroup>;
    using Names = KRVariableStructure::Names;
    using Types = KRVariableStructure::Types;
    using Structure = KRVariableStructure::Pointer;
    using FileName = KRDataFile::FileName;
    using SubGroups = std::map<std::string, std::shared_ptr<const KRContainer>>; // Groups and series.

    // In memory. Null, with a report, for lists of different lengths.
    static Pointer createWithNames(const Names& names, const Types& types, const std::vector<Value>& entries);
    static Pointer createEmpty(); // Without entries.
    static Pointer createEmptyWithStructure(
        const Structure& structure); // Of empty values. Null for no group.

    // Stored in a file of a known structure, or in an open storage, under a name (nothing: at the top of the
    // file). Entries that are groups or series are made at once; null when one of them can't be.
    static Pointer createWithFile(const FileName& file, const platform::Value& fileStructure,
        const std::optional<std::string>& nameInsideFile, const Structure& structure);
    static Pointer createWithDataFile(const std::shared_ptr<KRDataStorage>& file,
        const std::optional<std::string>& nameInsideFile, const Structure& structure);
    // The same with the groups and series given. Null, with a report, when one is missing.
    static Pointer createWithFile(const FileName& file, const platform::Value& fileStructure,
        const std::optional<std::string>& nameInsideFile, const Names& names, const Types& types,
        const SubGroups& subGroups);
    static Pointer createWithDataFile(const std::shared_ptr<KRDataStorage>& file,
        const std::optional<std::string>& nameInsideFile, const Names& names, const Types& types,
        const SubGroups& subGroups);
    static const ReadingOperation kReading;
    // A stored group by a structure at the name; the file object, where there is one, is kept with it.
    static Value readGroupWithReference(const std::string& name, KRDataStorage& storage,
        const FileName& fileObject, const Structure& structure);

    const Structure& groupStructure() const { return myStructure_; }
    Structure structureForEntry(std::string_view name) const; // Null for an unknown name.
    // The value itself, read from the file when it is stored. Null for an unknown name and for what can't be
    // read.
    Value valueForEntry(const std::optional<std::string>& name) const;
    std::string descriptionForEntry(const std::optional<std::string>& name) const;
    std::string typeWord() const override { return "Group"; }
    std::string description() const override; // "Empty", "1 entry", "%d entries".
    static std::string descriptionFor(const std::string& name, KRDataStorage& inFile);
    bool isEmpty() const override { return myStructure_->groupNames().empty(); }
    bool isEqualTo(const KRSharedValue& other) const override; // In structure and in each value.
    std::uint64_t memoryUsed() const override; // Of what is in memory.

    // Bounds are kept: finding one may mean reading the value. Types that have no such bound give an invalid
    // one. A bound that was set counts as it is.
    KRBoundingRange valueRangeFor(const std::string& entry) const;
    KRBoundingBox2D boundingBox2DFor(const std::string& entry) const;
    KRBoundingRange valueRange() const override; // Of all entries.
    KRBoundingBox2D boundingBox2D() const override;
    // Only look: invalid without a bound that was set or found before, also under the name where the entry's
    // redirections end.
    KRBoundingRange retrieveValueRange(const std::string& entry) const;
    KRBoundingRange retrieveBoundingRange(const std::string& entry) const;
    KRBoundingBox2D retrieveBoundingBox2D(const std::string& entry) const;
    KRBoundingBox3D retrieveBoundingBox3D(const std::string& entry) const;
    void setValueRange(const KRBoundingRange& range, const std::string& forEntry);
    void setBoundingRange(const KRBoundingRange& range, const std::string& forEntry);
    void setBoundingBox2D(const KRBoundingBox2D& box, const std::string& forEntry);
    void setBoundingBox3D(const KRBoundingBox3D& box, const std::string& forEntry);

    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;
    bool saveIntoFile(
        KRDataStorage& file, const std::string& withName, KRDataStorageSharedReadWrite* info) const override;
    // In the shape of another structure: what this group doesn't have, or has with another type, is written
    // as an empty value.
    bool saveSubGroup(const Structure& structure, KRDataStorage& intoFile, const std::string& withName,
        KRDataStorageSharedReadWrite* info) const;
    // Moves the entries from memory to a temporary file. False when they can't be written: they stay.
    bool saveToDisk();
    // A stored twin of this group, whose entries lie in the file under the name.
    Pointer reflectStorageIn(
        const FileName& file, const platform::Value& fileStructure, const std::string& withName) const;

    // The older form of a description: types under B_k, where newer ones have them under B_kT.
    static bool saveStructure(
        const KRVariableStructure& structure, const std::string& forName, KRDataStorage& inside);
    static Structure structureFromName(const std::string& name, KRDataStorage& inside);
    // Where the redirections of a name end in a file of this structure. Nothing, with a report, for a circle.
    static std::optional<std::string> resolve(const std::string& name, const platform::Value& withContent);

    KRContainerGroup(Private, Structure structure) : myStructure_(std::move(structure)) { }

private:
    struct Bounds;
    template <class Bound>
    using BoundsByEntry = std::map<std::string, Bound>;

    static Pointer createStored(variables::StoredParts place, const Structure& structure);
    static Pointer createStored(variables::StoredParts place, const Names& names, const Types& types,
        const SubGroups& subGroups, const char* missing);
    bool isStored() const { return static_cast<bool>(stored_); }
    void readStoredParameters();
    bool holdsEntry(const Structure& type, const std::string& name) const;
    template <class Bound>
    Bound retrieve(const BoundsByEntry<Bound>& bounds, const std::string& entry, Bound invalid) const;

    Structure myStructure_;
    mutable std::recursive_mutex lockForEntries_; // Guards what follows.
    std::map<std::string, Value> valueForEntry_; // In memory.
    SubGroups theSavedGroups_;
    variables::StoredParts stored_;
    FileName fileObject_; // Kept alive with a group in a storage.
    mutable std::map<std::string, std::string> descriptions_;
    mutable BoundsByEntry<KRBoundingRange> valueRanges_;
    mutable BoundsByEntry<KRBoundingBox2D> boxes2D_;
    mutable BoundsByEntry<KRBoundingBox3D> boxes3D_;
    mutable std::optional<KRBoundingRange> overallRange_;
    mutable std::optional<KRBoundingBox2D> overallBox2D_;
};
