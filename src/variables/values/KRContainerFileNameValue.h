#pragma once

#include "temporary/KRContainerFileName.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/KRContainer.h"

// A file name as the value of a variable. In a file the path as a text.
class KRContainerFileNameValue final : public KRContainer {
public:
    using Name = std::shared_ptr<const KRContainerFileName>;
    static std::shared_ptr<KRContainerFileNameValue> create(Name name); // Null for null.
    static std::shared_ptr<KRContainerFileNameValue> createEmpty(); // Null: there is no empty file name.
    static const ReadingOperation kReading;

    const Name& name() const { return name_; }
    std::string typeWord() const override { return "FileName"; }
    std::string description() const override { return name_->description(); }
    bool isEmpty() const override { return name_->isEmpty(); }
    std::uint64_t memoryUsed() const override { return name_->memoryUsed(); }
    bool isEqualTo(const KRSharedValue& other) const override; // The same path.
    Value returnParameter(const std::optional<std::string>& name) const override; // "File Size".
    using KRContainer::saveIntoFile;
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;

    explicit KRContainerFileNameValue(Name name) : name_(std::move(name)) { }

private:
    Name name_;
};
