#pragma once

#include "arrays/containers/KRTimeValues.h"
#include "variables/composites/StoredParts.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/structures/KRVariableStructure.h"
#include "variables/values/KRContainer.h"

#include <mutex>
#include <set>
#include <vector>

// A value for each of a list of rising times, in memory or as references into a data file: a stored series
// holds its times alone and reads a value when it is asked for. In a file V the description lies at V, the
// value of step k under V_k, its time under V_k_time, and all times under SeqInfo_V_TimeValues.
//
// Any thread may ask a series. A series in a file reads each value through a reader of its own.
class KRContainerSeries final : public KRContainer {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerSeries>;
    using Structure = KRVariableStructure::Pointer;
    using FileName = KRDataFile::FileName;

    // In memory. Null, with a report, for lists of different lengths or what is no series.
    static Pointer createWithValues(
        std::vector<Value> values, const KRTimeValues::Times& times, const Structure& structure);
    // File names as values.
    static Pointer createWithFileList(
        const std::vector<std::string>& files, const KRTimeValues::Times& times);
    static Pointer createEmpty(); // Of nothing yet.
    static Pointer createEmptyWithStructure(const Structure& structure);
    // Stored under a name. The times are read; a file without a known structure is scanned for once, with a
    // report. Null, with a report, for what can't be opened.
    static Pointer createWithFile(const FileName& file, const platform::Value& fileStructure,
        const std::string& nameInsideFile, const Structure& structure);
    static Pointer createWithDataFile(const std::shared_ptr<KRDataStorage>& file,
        const std::string& nameInsideFile, const Structure& structure);
    static const ReadingOperation kReading;
    // A stored series by the structure at the name; the file object, where there is one, is kept with it.
    static Value readSeriesWithReference(const std::string& name, KRDataStorage& storage,
        const FileName& fileObject, const Structure& structure);

    const FileName& storageFile() const { return stored_.file; } // Null unless it is stored in a file.
    FileName indexFile() const;
    std::string nameInsideFile() const { return stored_.base.value_or(""); }
    const Structure& variableStructure() const { return myStructure_; }
    const Structure& groupStructure() const { return myStructure_; }
    long howManyTimes() const { return timeValues_->length(); }
    const KRTimeValues::Times& timeValues() const { return timeValues_; }

    // The value of the step that has begun at the time; null before the first one.
    Value valueAt(double time) const;
    Value valueForStep(long step) const; // Null outside.
    bool willChangeFrom(double from, double to) const; // Whether another step has begun.
    std::string typeWord() const override { return "Series"; }
    std::string description() const override; // "No entries.", "1 entry", "%d entries".
    std::string descriptionForTimeValue(long step) const;
    static std::string descriptionFor(const std::string& name, KRDataStorage& inFile); // "%d times".
    bool isEmpty() const override { return howManyTimes() == 0; }
    bool isEqualTo(const KRSharedValue& other) const override { return this == &other; }
    std::uint64_t memoryUsed() const override; // Of what is in memory.

    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;
    bool saveIntoFile(
        KRDataStorage& file, const std::string& withName, KRDataStorageSharedReadWrite* info) const override;
    // Writes the name of the series' file and the type; false, with a report, for a series without a file.
    bool saveReferenceIntoFile(KRDataStorage& file, const std::string& withName) const;
    // The same with the file made to last: it is linked, or else copied, into the folder under a name that
    // nothing has, which is added to those that exist. Of a stack the members that hold the series are, in a
    // folder. A temporary file of this series alone that had to be copied is given up for its copy. No other
    // thread may use the series meanwhile.
    bool saveReferenceIntoFile(KRDataStorage& file, const std::string& withName,
        const std::string& temporaryDirectory, std::set<std::string>& filesThatExistAlready);

    KRContainerSeries(Private, Structure structure, KRTimeValues::Times times)
        : myStructure_(std::move(structure)), timeValues_(std::move(times))
    { }

private:
    std::string pathOfFile() const; // Empty, with a report, without one.
    bool writeReference(const std::string& path, KRDataStorage& file, const std::string& withName) const;
    void moveTo(const std::string& copy);
    static Pointer createStored(variables::StoredParts place, const Structure& structure);

    Structure myStructure_;
    KRTimeValues::Times timeValues_; // Never null.
    std::vector<Value> valueByIndex_; // In memory.
    variables::StoredParts stored_;
    FileName fileObject_; // Kept alive with a series in a storage.
    mutable std::mutex accessToChangeableContent_; // Guards the descriptions.
    mutable std::vector<std::optional<std::string>> cachedDescriptions_;
};
