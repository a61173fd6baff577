// The values of series: what each kind of value is made of, read from and written to.

#include "diagnostics/KRMessageCenter.h"
#include "variables/composites/KRContainerSeries.h"
#include "variables/composites/PartValues.h"
#include "variables/scan/StoredTimes.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/StoredWords.h"
#include "variables/values/StoredNumbers.h"

#include <fmt/format.h>

namespace names = variables::names;

namespace {

// The description of a series lies at its own name, or, of one that a program announced, at that of the
// announcement.
KRVariableStructure::Pointer structureOfSeries(KRDataStorage& storage, const std::string& name)
{
    for (const std::string& base : {name, names::description(name)})
        if (variables::wordUnder(storage, base) == "Series"
            || variables::wordUnder(storage, names::elementType(base)))
            return KRVariableStructure::seriesStructureFromName(base, storage);
    return nullptr;
}

KRContainer::Value readSeries(KRDataStorage& storage, const std::string& name)
{
    const auto structure = structureOfSeries(storage, name);
    if (!structure)
        return nullptr;
    return KRContainerSeries::createWithDataFile(storage.weak_from_this().lock(), name, structure);
}

} // namespace

const ReadingOperation KRContainerSeries::kReading{
    .type = "Series", .read = readSeries, .descriptionFor = descriptionFor, .createEmpty = [] {
        return Value(createEmpty());
    }};

KRContainer::Value KRContainerSeries::readSeriesWithReference(
    const std::string& name, KRDataStorage& storage, const FileName& fileObject, const Structure& structure)
{
    const Structure found = structure ? structure : structureOfSeries(storage, name);
    const auto series = found ? createWithDataFile(storage.weak_from_this().lock(), name, found) : nullptr;
    if (series)
        series->fileObject_ = fileObject;
    return series;
}

std::string KRContainerSeries::descriptionFor(const std::string& name, KRDataStorage& inFile)
{
    ScanReports reports;
    const std::int64_t count = StoredTimes(inFile, nullptr, reports).countVariables(name);
    return count == 1 ? "1 time" : fmt::format("{} times", count);
}

KRContainerSeries::Pointer KRContainerSeries::createStored(
    variables::StoredParts place, const Structure& structure)
{
    if (!structure || !structure->isASeries()) {
        KRMessageCenter::addMessage("Internal - invalid argument to a series constructor");
        return nullptr;
    }
    const auto reader = place.reader();
    if (!reader)
        return nullptr;
    ScanReports reports;
    const double step = variables::readAnnouncement(*reader, *place.base).timeStep;
    const TimeList times = StoredTimes(*reader, nullptr, reports).timesOf(*place.base, step, 0, 0);
    const auto array = times.asArray();
    if (!array)
        return nullptr;
    auto series = std::make_shared<KRContainerSeries>(Private(), structure, array);
    series->stored_ = std::move(place);
    series->readFromFile(*reader, *series->stored_.base);
    return series;
}

KRContainerSeries::Pointer KRContainerSeries::createWithFile(const FileName& file,
    const platform::Value& fileStructure, const std::string& nameInsideFile, const Structure& structure)
{
    if (!file) {
        KRMessageCenter::addMessage("Internal - invalid argument to a series constructor");
        return nullptr;
    }
    platform::Value known = fileStructure;
    if (known.isNull()) {
        KRMessageCenter::addMessage("Possible inefficiency, creating a series with a data file without "
                                    "structure information.  Please report");
        const auto scanned = KRDataFile::openFileContainer(file);
        known = scanned ? scanned->structure() : platform::Value();
    }
    return known.isNull() ? nullptr : createStored({nullptr, file, known, nameInsideFile}, structure);
}

KRContainerSeries::Pointer KRContainerSeries::createWithDataFile(
    const std::shared_ptr<KRDataStorage>& file, const std::string& nameInsideFile, const Structure& structure)
{
    auto* const dataFile = dynamic_cast<KRDataFile*>(file.get());
    // A stack is a folder, which isn't opened itself.
    const bool isOpen = !dataFile || dataFile->dataFileType() == "DataFileStack" || dataFile->fileIsValid();
    if (!file || !isOpen) {
        KRMessageCenter::addMessage(file ? "Could not open the data file." : "Not a data file.");
        return nullptr;
    }
    return createStored({file, nullptr, {}, nameInsideFile}, structure);
}

KRContainer::Value KRContainerSeries::valueForStep(long step) const
{
    if (step < 0 || step >= howManyTimes())
        return nullptr;
    if (!stored_)
        return valueByIndex_[static_cast<std::size_t>(step)];
    const Structure& element = myStructure_->seriesType();
    return element ? variables::storedValue(element, stored_.within(std::to_string(step))) : nullptr;
}

std::string KRContainerSeries::descriptionForTimeValue(long step) const
{
    if (step < 0 || step >= howManyTimes())
        return "Could not read";
    {
        const std::lock_guard lock(accessToChangeableContent_);
        cachedDescriptions_.resize(static_cast<std::size_t>(howManyTimes()));
        if (const auto& known = cachedDescriptions_[static_cast<std::size_t>(step)])
            return *known;
    }
    const Structure& element = myStructure_->seriesType();
    const bool asksFile = stored_ && element && !element->isAGroup() && !element->isASeries();
    std::string text = asksFile
        ? variables::descriptionOfStored(element, stored_.within(std::to_string(step)))
        : variables::descriptionOfHeld(valueForStep(step));
    const std::lock_guard lock(accessToChangeableContent_);
    cachedDescriptions_[static_cast<std::size_t>(step)] = text;
    return text;
}

bool KRContainerSeries::saveIntoFile(
    KRDataStorage& file, const std::string& withName, KRDataStorageSharedReadWrite* info) const
{
    if (!KRContainer::saveIntoFile(file, withName) || !myStructure_->saveDescriptionAs(withName, file))
        return false;
    const auto shared = info ? nullptr : KRDataStorageSharedReadWrite::createWithDataFile(&file);
    for (long k = 0; k < howManyTimes(); ++k) {
        const Value value = valueForStep(k);
        const std::string name = names::value(withName, k);
        const bool saved = value ? variables::savePart(value, file, name, info ? info : shared.get())
                                 : file.writeArray(variables::arrayOf<double>({}), name);
        if (!saved
            || !file.writeNumber(StorageNumber(timeValues_->valueAtIndex(k)), names::time(withName, k)))
            return false;
    }
    return file.writeDoubleArray(
        std::const_pointer_cast<KRDoubleArrayContainer>(timeValues_), names::allTimes(withName));
}
