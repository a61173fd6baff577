#pragma once

#include "arrays/geometry/KRTransforms.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

// A transform of the plane, or none: an empty one. In a file 2 x 3 doubles, the rows (T11, T12, S1) and
// (T21, T22, S2); with a perspective 3 x 3, with (Px, Py, 1) as third row.
class KRContainerTransform2D final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerTransform2D>;
    static Pointer createTransform2D(const Transform2D& transform);
    static Pointer createEmpty();
    static const ReadingOperation kReading;

    const Transform2D& transform2D() const { return theTransform_; } // The identity of an empty one.
    Point2D transformPoint(const Point2D& point) const { return Transform2DOnPoint(theTransform_, point); }
    std::string typeWord() const override { return "Transform2D"; }
    std::string description() const override;
    bool isEmpty() const override { return isEmpty_; }
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const; // The first row alone.

    KRContainerTransform2D(Private, const Transform2D& transform, bool isEmpty)
        : theTransform_(transform), isEmpty_(isEmpty)
    { }

private:
    Transform2D theTransform_;
    bool isEmpty_;
};
