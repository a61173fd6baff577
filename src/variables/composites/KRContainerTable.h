#pragma once

#include "variables/reading/ReadingOperations.h"
#include "variables/structures/KRVariableStructure.h"
#include "variables/values/KRContainer.h"

#include <map>
#include <vector>

// Named columns of equal length, each a list of one type. In a file V the name of column k, from 0, lies
// under V_kN, its kind ("Number" or "UTF8") under V_kV_T, its values under V_kV; V is the count of columns.
// Immutable.
class KRContainerTable final : public KRContainer {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerTable>;
    using Structure = KRVariableStructure::Pointer;

    // Null, with a report, for lists of different lengths.
    static Pointer createWithNames(const KRVariableStructure::Names& names,
        const KRVariableStructure::Types& types, const std::vector<Value>& values);
    static Pointer createEmpty(); // Without columns.
    static Pointer createEmptyWithStructure(const Structure& structure); // Null, with a report, for no table.
    static const ReadingOperation kReading;

    const Structure& tableStructure() const { return myStructure_; }
    long numberOfRows() const; // Of the first column; 0 without columns.
    Value valueNamed(const std::string& column) const; // Null for an unknown one.
    const std::map<std::string, Value>& values() const { return values_; }
    std::string typeWord() const override { return "Table"; }
    std::string description() const override; // "Empty", "%d columns, %d rows".
    bool isEmpty() const override { return values_.empty(); }
    bool isEqualTo(const KRSharedValue& other) const override { return this == &other; }
    std::uint64_t memoryUsed() const override { return memUsed_; }
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;
    bool saveIntoFile(
        KRDataStorage& file, const std::string& withName, KRDataStorageSharedReadWrite* info) const override;

    KRContainerTable(Private, Structure structure, std::map<std::string, Value> values);

private:
    Structure myStructure_;
    std::map<std::string, Value> values_;
    std::uint64_t memUsed_ = 0;
};
