#include "variables/composites/KRContainerSeries.h"

#include "diagnostics/KRMessageCenter.h"
#include "variables/values/KRContainerFileNameValue.h"

#include <fmt/format.h>

KRContainerSeries::Pointer KRContainerSeries::createWithValues(
    std::vector<Value> values, const KRTimeValues::Times& times, const Structure& structure)
{
    if (!times || !structure || !structure->isASeries()
        || values.size() != static_cast<std::size_t>(times->length())) {
        KRMessageCenter::addMessage("Internal - invalid argument to a series constructor");
        return nullptr;
    }
    auto series = std::make_shared<KRContainerSeries>(Private(), structure, times);
    series->valueByIndex_ = std::move(values);
    return series;
}

KRContainerSeries::Pointer KRContainerSeries::createWithFileList(
    const std::vector<std::string>& files, const KRTimeValues::Times& times)
{
    std::vector<Value> values;
    for (const std::string& file : files)
        values.push_back(KRContainerFileNameValue::create(KRContainerFileName::createWithName(file)));
    auto series = createWithValues(std::move(values), times,
        KRVariableStructure::createSeriesWithType(KRVariableStructure::createWithType("FileName")));
    if (!series)
        KRMessageCenter::addMessage("Internal Error: Error when creating a file series");
    return series;
}

KRContainerSeries::Pointer KRContainerSeries::createEmpty()
{
    return createEmptyWithStructure(KRVariableStructure::createSeriesWithType(nullptr));
}

KRContainerSeries::Pointer KRContainerSeries::createEmptyWithStructure(const Structure& structure)
{
    return createWithValues({}, KRDoubleArrayContainer::createArrayOfLength(0), structure);
}

KRContainerSeries::FileName KRContainerSeries::indexFile() const
{
    auto* const file = dynamic_cast<KRDataFile*>(stored_.storage.get());
    return file ? file->indexFileContainer() : nullptr;
}

KRContainer::Value KRContainerSeries::valueAt(double time) const
{
    return valueForStep(KRTimeValues::findIndexOfClosestValueBelow(timeValues_, time));
}

bool KRContainerSeries::willChangeFrom(double from, double to) const
{
    return KRTimeValues::findIndexOfClosestValueBelow(timeValues_, from)
        != KRTimeValues::findIndexOfClosestValueBelow(timeValues_, to);
}

std::string KRContainerSeries::description() const
{
    const long count = howManyTimes();
    return count == 0 ? "No entries." : count == 1 ? "1 entry" : fmt::format("{} entries", count);
}

std::uint64_t KRContainerSeries::memoryUsed() const
{
    auto bytes = static_cast<std::uint64_t>(timeValues_->memoryUsed());
    for (const Value& value : valueByIndex_)
        if (const auto* container = dynamic_cast<const KRContainer*>(value.get()))
            bytes += container->memoryUsed();
    return bytes;
}

bool KRContainerSeries::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return saveIntoFile(file, withName, nullptr);
}
