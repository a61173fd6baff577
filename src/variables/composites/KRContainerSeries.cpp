#include "variables/composites/KRContainerSeries.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "variables/structures/EntryNames.h"
#include "variables/values/KRContainerFileNameValue.h"

#include <fmt/format.h>

#include <unistd.h>

namespace names = variables::names;

namespace {

constexpr int kMostNamesTried = 100000;

// A file of the same content under a free name of the folder: its path, or nothing with a report.
std::optional<std::string> lastingCopy(
    const std::string& path, const std::string& folder, std::set<std::string>& taken)
{
    const std::string name = platform::paths::lastComponent(path);
    const std::size_t period = name.rfind('.');
    const std::string stem = name.substr(0, period);
    const std::string ending = period == std::string::npos ? "" : name.substr(period);
    std::string free = name;
    const auto isTaken = [&] { return taken.contains(free) || platform::files::exists(folder + "/" + free); };
    for (int number = 1; isTaken() && number < kMostNamesTried; ++number)
        free = fmt::format("{}-{}{}", stem, number, ending);
    const std::string target = folder + "/" + free;
    if (::link(path.c_str(), target.c_str()) != 0) {
        if (!platform::files::copy(path, target)) {
            KRMessageCenter::addMessage("Could not copy the file into the temporary directory.",
                fmt::format("Could not copy the file \"{}\" to \"{}\"", path, target));
            return std::nullopt;
        }
        KRMessageCenter::addMessage("Inefficient, had to copy a file");
    }
    taken.insert(free);
    return target;
}

} // namespace

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

std::string KRContainerSeries::pathOfFile() const
{
    auto* const stored = dynamic_cast<KRDataFile*>(stored_.storage.get());
    std::string path = stored ? stored->fileName() : stored_.file ? stored_.file->fileName() : "";
    if (path.empty())
        KRMessageCenter::addMessage("not possible to save the file name");
    return path;
}

bool KRContainerSeries::writeReference(
    const std::string& path, KRDataStorage& file, const std::string& withName) const
{
    return !path.empty() && file.writeString(path, withName + "_file")
        && file.writeString(myStructure_->type(), withName);
}

bool KRContainerSeries::saveReferenceIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return writeReference(pathOfFile(), file, withName);
}

bool KRContainerSeries::saveReferenceIntoFile(KRDataStorage& file, const std::string& withName,
    const std::string& temporaryDirectory, std::set<std::string>& filesThatExistAlready) const
{
    const std::string path = pathOfFile();
    const auto copy =
        path.empty() ? std::nullopt : lastingCopy(path, temporaryDirectory, filesThatExistAlready);
    return copy && writeReference(*copy, file, withName);
}
