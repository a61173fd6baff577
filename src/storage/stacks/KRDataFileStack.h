#pragma once

#include "storage/KRDataFile.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// A folder of data files, "<name>.svdata", as one file that can only be read. A variable that several members
// have is that of the first one, by the names of the members. updateFile() follows each member as a file of
// its own, opens those that are new, and opens those anew that were replaced or can't be followed.
//
// What the members' own locks guard is left to them.
class KRDataFileStack final : public KRDataFile {
    struct Private { };

public:
    explicit KRDataFileStack(Private) { }
    static std::shared_ptr<KRDataFileStack> createWithName(const std::string& name);
    static std::shared_ptr<KRDataFileStack> createWithStructure(const platform::Value& structure);

    std::optional<std::string> dataFileType() const override { return "DataFileStack"; }
    platform::Value structure() override; // "Content" has the structures of the members.
    std::string description() override;
    Listing theContent() override; // Of the members, one behind the other.
    Pointer fileWithVariable(const std::string& name); // Null without one.
    FileName createIndexFileContainerIfNeeded() override { return nullptr; }
    int updateFile() override;
    int updateFile(std::int64_t) override { return updateFile(); }

    bool contains(const std::optional<std::string>& name) override;
    bool isAString(const std::string& name) override;
    bool isAFloatArray(const std::string& name) override;
    bool isADoubleArray(const std::string& name) override;
    bool isAnIntArray(const std::string& name) override;
    bool isANumber(const std::string& name) override;
    std::vector<std::string> variablesWithPrefix(const std::string& prefix) override; // Each name once.
    std::optional<std::string> resolveNameAllowingRedirection(const std::string& name) override;
    std::optional<Size> getSizeOfVariable(const std::string& name) override;
    std::optional<StorageNumber> readNumber(const std::string& name) override;
    KRAnyArray readArrayOfType(ElementType type, const std::string& name) override;
    KRAnyArray readNativeArray(const std::string& name) override;
    std::shared_ptr<const StoredArray> openArray(const std::string& name) override;
    std::optional<Bytes> readDataBlock(const std::string& name) override;
    std::optional<std::string> readRawString(const std::string& name) override;
    bool writeString(const std::string&, const std::string&) override { return false; }

protected:
    bool readInContentOfFile(const KRProgressCPP& progress) override;
    bool writeTypedArray(const KRAnyArray& array, const std::string& withName) override;

private:
    std::vector<Pointer> members();
    using Looks = std::map<std::string, std::pair<std::uint64_t, double>>; // Sizes and dates.
    std::vector<std::string> pathsOfMembers() const;

    template <class Question>
    auto firstAnswer(const std::string& name, Question question);

    // Guarded by accessLock_.
    std::vector<Pointer> dataFiles_;
    Looks looks_; // The members by path, also those that couldn't be opened.
};
