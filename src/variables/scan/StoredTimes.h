#pragma once

#include "diagnostics/KRProgressEntry.h"
#include "storage/KRDataStorage.h"
#include "variables/scan/ScanReports.h"
#include "variables/scan/TimeList.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

// Counts the stored values of variables and finds their times. One object serves all variables of a scan. The
// storage, the entry of progress and the reports are borrowed. One thread at a time.
class StoredTimes {
public:
    // The progress may be null.
    StoredTimes(KRDataStorage& storage, std::shared_ptr<KRProgressEntry> progress, ScanReports& reports);

    // How many values the name has: those under numbers from 0 on, or one under the bare name. The numbers
    // are taken to have no gaps, which needs few look-ups for any count: with a gap the count ends at one of
    // the gaps. A few entries that lie far apart can't claim any count: it is at most twice the number of
    // entries in the storage, or 131072 where that is more.
    std::int64_t countVariables(const std::string& name);
    // One time for each value. A stored list of all times that fits comes first, then a constant step that is
    // not negative, then the times that are stored one by one; those that are missing are made up. Progress
    // is told from `start` on, for a share of the whole; a user who aborts gets made-up times.
    TimeList timesOf(const std::string& name, double timeStep, float start, float share);

private:
    struct ArrayOfTimes {
        KRDataStorage::ArrayPointer<double> array; // Null unless it has one time for each value.
        bool couldNotBeRead = true; // Whatever its size.
    };
    ArrayOfTimes arrayOfTimes(const std::string& name, std::int64_t count);
    std::optional<TimeList> allTimes(const std::string& name, std::int64_t count);
    TimeList timesOneByOne(const std::string& name, std::int64_t count, float start, float share);
    std::vector<double> readTimes(const std::string& name, std::int64_t count, float start, float share);
    bool exists(const std::string& name, std::int64_t step);
    std::int64_t entriesOfStorage();

    KRDataStorage& storage_;
    std::shared_ptr<KRProgressEntry> progress_;
    ScanReports& reports_;
    std::optional<std::int64_t> entriesOfStorage_;
};
