#include "variables/scan/KRVariableInformation.h"

#include "platform/files/Paths.h"
#include "storage/KRDataFile.h"
#include "variables/scan/ScanProgress.h"
#include "variables/scan/StoredTimes.h"
#include "variables/structures/EntryNames.h"
#include "variables/structures/StoredWords.h"
#include "variables/structures/TypeCodes.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace names = variables::names;

std::string_view KRVariableRecord::readingType() const
{
    if (type() == "Group")
        return {};
    return type() == "Series" ? std::string_view("Table") : std::string_view(type());
}

bool KRVariableRecord::hasSharedReading() const
{
    return type() != "Group" && type() != "Series" && type() != "Table" && type() != "Real Number";
}

class KRVariableInformation::Scan {
public:
    Scan(KRDataStorage& storage, std::shared_ptr<KRProgressEntry> progress, ScanReports& reports,
        const KRVariableModulesPref& types)
        : storage_(storage), progress_(std::move(progress)), reports_(reports), types_(types),
          times_(storage, progress_, reports)
    { }
    void readInto(KRVariableInformation& result);

private:
    std::optional<std::string> legalType(
        const variables::Announcement& announcement, const std::string& name);
    KRVariableStructure::Pointer structureOf(const std::string& type, const std::string& name);

    KRDataStorage& storage_;
    std::shared_ptr<KRProgressEntry> progress_;
    ScanReports& reports_;
    const KRVariableModulesPref& types_;
    StoredTimes times_;
    KRVariableStructure::Pointer lastStructure_;
};

// The type by its present name; nothing for one that no variable may have.
std::optional<std::string> KRVariableInformation::Scan::legalType(
    const variables::Announcement& announcement, const std::string& name)
{
    const std::string type = types_.checkIfTypeChanged(
        announcement.word ? *announcement.word : variables::typeForCode(announcement.code));
    if (types_.isAVariableType(type))
        return type;
    const auto mapped = types_.typeForInterfaceName(type);
    if (mapped && types_.isAVariableType(*mapped))
        return mapped;
    reports_.report(ScanReports::Fault::Type, name, fmt::format("Illegal variable type \"{}\"", type),
        fmt::format("Illegal variable type \"{}\" for the variable \"{}\"", type, name));
    return std::nullopt;
}

KRVariableStructure::Pointer KRVariableInformation::Scan::structureOf(
    const std::string& type, const std::string& name)
{
    if (type != "Group" && type != "Series" && type != "Table")
        return nullptr;
    auto structure = KRVariableStructure::readDescription(type, names::description(name), storage_,
        [&](const MessageText& text, const MessageText& longVersion) {
            reports_.report(ScanReports::Fault::Structure, name, text, longVersion);
        });
    // Variables of one shape often follow each other: they share it.
    if (structure && structure->isEqual(lastStructure_))
        return lastStructure_;
    if (structure)
        lastStructure_ = structure;
    return structure;
}

void KRVariableInformation::Scan::readInto(KRVariableInformation& result)
{
    const auto announcements = storage_.variablesWithPrefix(std::string(names::kAnnouncementPrefix));
    const float share = announcements.empty() ? 1 : 1 / static_cast<float>(announcements.size());
    float fraction = 0;
    result.records_.reserve(announcements.size());
    for (const std::string& entry : announcements) {
        std::string name = entry.substr(names::kAnnouncementPrefix.size());
        const auto announcement = variables::readAnnouncement(storage_, name);
        if (name.empty() || announcement.word == "")
            continue;
        const auto type = legalType(announcement, name);
        if (!type)
            continue;
        auto structure = structureOf(*type, name);
        TimeList times = times_.timesOf(name, announcement.timeStep, fraction, share);
        result.records_.emplace_back(
            std::move(name), *result.typesInUse_.insert(*type).first, std::move(structure), std::move(times));
        fraction += share;
        progress_->updatePercentage(fraction);
    }
}

KRVariableInformation::Pointer KRVariableInformation::computeInformationFromFile(
    const std::shared_ptr<KRDataStorage>& file, std::shared_ptr<KRProgressEntry> progress,
    ScanReports* reports, const KRVariableModulesPref& types)
{
    if (!file)
        return nullptr;
    auto* const dataFile = dynamic_cast<KRDataFile*>(file.get());
    const std::string fileName = dataFile ? platform::paths::lastComponent(dataFile->fileName()) : "";
    if (progress)
        variables::describe(*progress, "Reading the content of " + fileName);
    else
        progress = KRProgressEntry::createWithDescription("Reading content of the file " + fileName);

    const auto result = std::make_shared<KRVariableInformation>(Private());
    auto info = KRDataStorageSharedReadWrite::createWithDataFile(file.get());
    // It only borrows its storage.
    const auto kept = std::make_shared<std::pair<decltype(info), std::shared_ptr<KRDataStorage>>>(info, file);
    result->info_ = {kept, info.get()};

    ScanReports everything;
    Scan(*file, progress, reports ? *reports : everything, types).readInto(*result);
    auto& records = result->records_;
    const auto byName = [](const auto& a, const auto& b) { return a.name() < b.name(); };
    if (!std::is_sorted(records.begin(), records.end(), byName))
        std::stable_sort(records.begin(), records.end(), byName);
    return result;
}

const KRVariableRecord* KRVariableInformation::informationFor(std::string_view name) const
{
    const auto place = std::lower_bound(records_.begin(), records_.end(), name,
        [](const KRVariableRecord& record, std::string_view sought) { return record.name() < sought; });
    return place != records_.end() && place->name() == name ? &*place : nullptr;
}

std::string KRVariableInformation::informationText(const KRVariableRecord& record, KRDataStorage& file)
{
    const std::int64_t count = record.times().count();
    if (count == 0)
        return "Empty";
    if (count > 1)
        return fmt::format("{} time values", count);
    if (record.type() == "Real Number") {
        // A single value may also stand under the first number of a list.
        const auto& name = record.name();
        const auto place =
            file.resolveNameAllowingRedirection(file.contains(name) ? name : names::value(name, 0));
        if (const auto number = place ? file.readNumber(*place) : std::nullopt)
            return number->description();
    }
    return "1 time value";
}
