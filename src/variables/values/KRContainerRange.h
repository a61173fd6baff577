#pragma once

#include "arrays/geometry/KRBounds.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

// A range of numbers, or an empty one. In a file two doubles, or an array of length 0.
class KRContainerRange final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerRange>;
    static Pointer createWithMin(double min, double max); // A NaN is reported and gives null.
    static Pointer createWithBoundingRange(const KRBoundingRange& range); // Empty unless it is a real bound.
    static Pointer createEmpty();
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    static const ReadingOperation kReading;

    double minV() const { return minV_; }
    double maxV() const { return maxV_; }
    std::string typeWord() const override { return "Range"; }
    std::string description() const override;
    bool isEmpty() const override { return isEmpty_; }
    Value returnParameter(const std::optional<std::string>& name) const override; // "Left", "Right", "Width".
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const;

    Pointer unionWithMin(double min, double max) const; // Widened; of an empty range the two as they are.
    // The part that lies in the other range; ranges that touch overlap. Null for null.
    std::shared_ptr<const KRContainerRange> cropWith1D(
        const std::shared_ptr<const KRContainerRange>& other) const;

    KRContainerRange(Private, double min, double max, bool isEmpty)
        : minV_(min), maxV_(max), isEmpty_(isEmpty)
    { }

private:
    double minV_;
    double maxV_;
    bool isEmpty_;
};
