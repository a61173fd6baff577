#pragma once

#include "text/strings/KRUTF8StringList.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/KRContainer.h"

#include <vector>

// A list of strings. In a file V three entries: V is the block of characters, each string followed by a zero
// byte; V_offs the start of each string in it, as an int array; V_T the word "UTF8".
class KRContainerStringList final : public KRContainer {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerStringList>;
    // Null for strings of more than 2 GiB. The list is kept: nobody changes it any more.
    static Pointer createWithStrings(const std::vector<std::string>& strings);
    static Pointer createWithList(std::shared_ptr<KRUTF8StringList> list); // Null for null.
    static Pointer createEmpty();
    // What stands between the line ends of a text file: behind the last one a further string, which may be
    // empty. Null for a file that can't be read, and, with a report, for one above 10 MB.
    static Pointer createFromFile(const std::string& path);
    static std::string descriptionFor(const std::string& name, KRDataStorage& inFile);
    static const ReadingOperation kReading;

    std::int64_t count() const { return list_->count(); }
    std::string stringAtIndex(std::int64_t index) const; // Outside is reported and empty.
    std::vector<std::string> strings() const;
    std::string typeWord() const override { return "StringList"; }
    std::string description() const override;
    bool isEmpty() const override { return count() == 0; }
    std::uint64_t memoryUsed() const override;
    bool isEqualTo(const KRSharedValue& other) const override;
    Value returnParameter(const std::optional<std::string>& name) const override; // "Length".
    using KRContainer::saveIntoFile;
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;

    KRContainerStringList(Private, std::shared_ptr<KRUTF8StringList> list) : list_(std::move(list)) { }

private:
    std::shared_ptr<KRUTF8StringList> list_;
};
