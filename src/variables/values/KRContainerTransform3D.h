#pragma once

#include "arrays/geometry/KRTransforms.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

// A transform of space, or none: an empty one. In a file 3 x 4 doubles, the shift in the last column; a
// perspective isn't stored.
class KRContainerTransform3D final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerTransform3D>;
    static Pointer createTransform3D(const Transform3D& transform);
    static Pointer createEmpty();
    static const ReadingOperation kReading;

    const Transform3D& transform3D() const { return theTransform_; } // The identity of an empty one.
    Point3D transformPoint(const Point3D& point) const { return Transform3DOnPoint(theTransform_, point); }
    std::string typeWord() const override { return "Transform3D"; }
    std::string description() const override;
    bool isEmpty() const override { return isEmpty_; }
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const; // A line for each row.

    KRContainerTransform3D(Private, const Transform3D& transform, bool isEmpty)
        : theTransform_(transform), isEmpty_(isEmpty)
    { }

private:
    Transform3D theTransform_;
    bool isEmpty_;
};
