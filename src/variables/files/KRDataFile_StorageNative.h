#pragma once

#include "diagnostics/KRProgressEntry.h"
#include "storage/KRDataFile.h"
#include "storage/KRDataFile_StorageBasis.h"
#include "variables/scan/KRVariableInformation.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// What can be known about the variables of a data file, from a scan of it. Any thread.
class KRDataFile_StorageNative final : public KRDataFile_StorageBasis {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRDataFile_StorageNative>;

    // Scans the file. Without a file there are no variables.
    static Pointer createWithFile(
        const KRDataFile::Pointer& file, const std::shared_ptr<KRProgressEntry>& progress = nullptr);
    // With a scan of the file that was made for others, too; null for one that is still to come.
    static Pointer createWithFile(
        const KRDataFile::Pointer& file, KRVariableInformation::Pointer information);
    // Takes a newer scan of the same file. Every variable gets a new number.
    void renew(KRVariableInformation::Pointer information);

    std::shared_ptr<const KRVariableStructure> structureFor(const std::string& name) override;
    std::vector<std::string> variableNames() override;
    // Sorted without regard to case.
    std::vector<std::string> variablesWithType(const std::string& type) override;
    // Two numbers, or none; a stored range of another length is reported.
    Numbers valueRangeFor(const std::string& name) override;
    Numbers timeValuesForVariable(const std::string& name) override;
    // The value of a step, which counts from 0, by the reading operation of its type; of a series the
    // element. Null for a step that isn't there and for numbers and texts, which are no containers.
    std::shared_ptr<const KRContainer> readVariable(const std::string& name, int number) override;
    platform::Value serialNumberForVariable(const std::string& name) override; // Null for an unknown name.

    explicit KRDataFile_StorageNative(Private, KRDataFile::Pointer file)
        : underlyingFile_(std::move(file)) { }

private:
    KRVariableInformation::Pointer information();

    const KRDataFile::Pointer underlyingFile_;
    std::mutex lock_; // Guards all below.
    KRVariableInformation::Pointer information_;
    std::vector<std::int64_t> serialNumbers_; // In the order of the scan's records.
};
