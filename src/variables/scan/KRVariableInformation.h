#pragma once

#include "diagnostics/KRProgressEntry.h"
#include "storage/KRDataStorage.h"
#include "storage/KRDataStorageSharedReadWrite.h"
#include "variables/scan/ScanReports.h"
#include "variables/scan/TimeList.h"
#include "variables/structures/KRVariableModulesPref.h"
#include "variables/structures/KRVariableStructure.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// A typed variable of a data file, as a scan found it. It belongs to the result of the scan.
class KRVariableRecord {
public:
    KRVariableRecord(
        std::string name, const std::string& type, KRVariableStructure::Pointer structure, TimeList times)
        : name_(std::move(name)), type_(&type), structure_(std::move(structure)), times_(std::move(times))
    { }

    const std::string& name() const { return name_; }
    const std::string& type() const { return *type_; } // A legal one, after old names have been mapped.
    // Of a group, series or table; null where the description couldn't be read.
    const KRVariableStructure::Pointer& structure() const { return structure_; }
    // One for each stored value; may be none.
    const TimeList& times() const { return times_; }
    // The type whose reading operation reads a value: nothing for a group, and that of tables for a series.
    std::string_view readingType() const;
    // Whether equal values of the variable may be shared by KRVariableInformation::info().
    bool hasSharedReading() const;

private:
    std::string name_;
    const std::string* type_; // Of the result.
    KRVariableStructure::Pointer structure_;
    TimeList times_;
};
// A file may announce a million variables.
static_assert(sizeof(KRVariableRecord) <= 112);

// The typed variables of a data file, by the naming conventions of docs/variables.md: what isn't announced is
// no variable. Immutable: any thread.
class KRVariableInformation {
    struct Private { };

public:
    using Pointer = std::shared_ptr<const KRVariableInformation>;

    // Scans a storage. Bad content never stops the scan: a variable with an illegal type is left out, and bad
    // times give way to others. Null for a null storage. Without a progress one is made; without `reports`
    // every fault is reported. One storage must not be scanned by two threads at once.
    static Pointer computeInformationFromFile(const std::shared_ptr<KRDataStorage>& file,
        std::shared_ptr<KRProgressEntry> progress = nullptr, ScanReports* reports = nullptr,
        const KRVariableModulesPref& types = *KRVariableModulesPref::shared());

    const std::vector<KRVariableRecord>& records() const { return records_; } // By name, in order of bytes.
    const KRVariableRecord* informationFor(std::string_view name) const; // Null for an unknown name.
    // Shares equal values when variables of this file are read; it keeps the file.
    const std::shared_ptr<KRDataStorageSharedReadWrite>& info() const { return info_; }

    // What a list of variables shows beside the type: "Empty", the number itself of a single real number, "1
    // time value" or "%d time values".
    static std::string informationText(const KRVariableRecord& record, KRDataStorage& file);

    explicit KRVariableInformation(Private) { }

private:
    class Scan;

    std::set<std::string, std::less<>> typesInUse_;
    std::vector<KRVariableRecord> records_;
    std::shared_ptr<KRDataStorageSharedReadWrite> info_;
};
