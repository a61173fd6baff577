#pragma once

#include "arrays/geometry/KRBounds.h"
#include "variables/values/KRContainerArray.h"

// A list of numbers of one element type. In a file the array itself.
class KRContainerNumberList final : public KRContainerArray {
public:
    using Pointer = std::shared_ptr<KRContainerNumberList>;
    static Pointer createWithNumber(double number);
    static Pointer createWithArray(const KRAnyArray& array); // Null, with a report, for none.
    static Pointer createEmpty();
    // What appendAsText() writes: the length and then the numbers. Null without a length; empty, with a
    // report, for a length below 0 or above 500 MB.
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    static Pointer initWithCoder(const platform::Value& archive); // Null for what is no archive of an array.
    static std::string descriptionFor(const std::string& name, KRDataStorage& inFile);
    static const ReadingOperation kReading;

    // The type that saving converts to.
    void setSavingType(ElementType type) { setStored(type); }
    KRAnyArray asArray() const; // A vector of the saving type.
    double numberAtIndex(long index) const; // An index outside is reported and gives NaN.
    double minimumValue() const { return valueRange().minV; } // Of an empty list 0.
    double maximumValue() const { return valueRange().maxV; }
    KRBoundingRange valueRange() const override; // Without NaNs; empty without numbers.

    std::string typeWord() const override { return "NumberList"; }
    std::string description() const override;
    Value returnParameter(const std::optional<std::string>& name) const override; // "Length".
    using KRContainer::saveIntoFile;
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;
    bool appendAsText(std::FILE* stream) const; // The length, and each number on a line of its own.
    bool saveAsAsciiFile(const std::string& path) const override; // A line for each number.

    using KRContainerArray::KRContainerArray;
};
