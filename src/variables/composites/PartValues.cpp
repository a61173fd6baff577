#include "variables/composites/PartValues.h"

#include "variables/composites/KRContainerGroup.h"
#include "variables/composites/KRContainerSeries.h"
#include "variables/composites/KRContainerTable.h"
#include "variables/values/KRPlainValue.h"

namespace variables {

std::shared_ptr<const KRContainer> storedComposite(
    const KRVariableStructure::Pointer& structure, const StoredParts& place)
{
    if (structure->isAGroup())
        return place.storage
            ? KRContainerGroup::createWithDataFile(place.storage, place.base, structure)
            : KRContainerGroup::createWithFile(place.file, place.structureOfFile, place.base, structure);
    if (structure->isASeries())
        return place.storage
            ? KRContainerSeries::createWithDataFile(place.storage, *place.base, structure)
            : KRContainerSeries::createWithFile(place.file, place.structureOfFile, *place.base, structure);
    return nullptr;
}

KRContainer::Value storedValue(const KRVariableStructure::Pointer& structure, const StoredParts& place)
{
    if (structure->isAGroup() || structure->isASeries())
        return storedComposite(structure, place);
    const auto reader = place.reader();
    return reader ? ReadingOperations::read(structure->type(), *reader, *place.base) : nullptr;
}

KRContainer::Value emptyValue(const KRVariableStructure::Pointer& structure)
{
    if (structure->isAGroup())
        return KRContainerGroup::createEmptyWithStructure(structure);
    if (structure->isASeries())
        return KRContainerSeries::createEmptyWithStructure(structure);
    if (structure->isATable())
        return KRContainerTable::createEmptyWithStructure(structure);
    return ReadingOperations::createEmptyVariableWithType(structure->type());
}

KRVariableStructure::Pointer structureOf(const KRContainer::Value& value, const std::string& type)
{
    if (const auto* group = dynamic_cast<const KRContainerGroup*>(value.get()))
        return group->groupStructure();
    if (const auto* series = dynamic_cast<const KRContainerSeries*>(value.get()))
        return series->variableStructure();
    if (const auto* table = dynamic_cast<const KRContainerTable*>(value.get()))
        return table->tableStructure();
    return KRVariableStructure::createWithType(type);
}

std::string descriptionOf(const KRContainer::Value& value)
{
    if (const auto* number = dynamic_cast<const KRRealNumber*>(value.get()))
        return number->description();
    if (const auto* text = dynamic_cast<const KRString*>(value.get()))
        return text->text();
    if (const auto* container = dynamic_cast<const KRContainer*>(value.get()))
        return container->variableDescription();
    return value ? "Description not supported." : "Could not read";
}

std::string descriptionOfHeld(const KRContainer::Value& value)
{
    return value ? descriptionOf(value) : "Empty";
}

std::string descriptionOfStored(const KRVariableStructure::Pointer& structure, const StoredParts& place)
{
    const auto reader = place.reader();
    const ReadingOperation* const operation = ReadingOperations::forType(structure->type());
    if (!reader || !operation)
        return "Could not read";
    if (structure->isType("Real Number")) {
        const auto end = reader->resolveNameAllowingRedirection(*place.base);
        const auto number = reader->contains(end) ? reader->readNumber(*end) : std::nullopt;
        return number ? number->description() : "Empty";
    }
    if (operation->descriptionFor)
        return operation->descriptionFor(*place.base, *reader);
    return descriptionOf(storedValue(structure, place));
}

bool savePart(const KRContainer::Value& value, KRDataStorage& file, const std::string& name,
    KRDataStorageSharedReadWrite* info)
{
    if (const auto* container = dynamic_cast<const KRContainer*>(value.get()))
        return container->saveIntoFile(file, name, info);
    return value->saveIntoFile(file, name);
}

} // namespace variables
