#pragma once

#include "variables/composites/StoredParts.h"
#include "variables/structures/KRVariableStructure.h"
#include "variables/values/KRContainer.h"

namespace variables {

// A stored group or series with its parts at the place; null for another type or when it can't be made.
std::shared_ptr<const KRContainer> storedComposite(
    const KRVariableStructure::Pointer& structure, const StoredParts& place);
// The value of any type, read at the place.
KRContainer::Value storedValue(const KRVariableStructure::Pointer& structure, const StoredParts& place);
// An empty value; null for a type that has none.
KRContainer::Value emptyValue(const KRVariableStructure::Pointer& structure);
// What the value is: the structure of a composite value itself, else a plain one of the type.
KRVariableStructure::Pointer structureOf(const KRContainer::Value& value, const std::string& type);
// In words; "Could not read" for none.
std::string descriptionOf(const KRContainer::Value& value);
// The same of a value in memory, where none was put: "Empty".
std::string descriptionOfHeld(const KRContainer::Value& value);

// Of a stored value, without reading it where its type can do so.
std::string descriptionOfStored(const KRVariableStructure::Pointer& structure, const StoredParts& place);

// Saves a value that isn't null, which may share equal parts by the record.
bool savePart(const KRContainer::Value& value, KRDataStorage& file, const std::string& name,
    KRDataStorageSharedReadWrite* info);

} // namespace variables
