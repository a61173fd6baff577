#pragma once

#include "arrays/geometry/KRBounds.h"
#include "arrays/geometry/KRPoints.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

// A mapping of space that scales each axis and then shifts. In a file six doubles: x, y, z, scaleX, scaleY,
// scaleZ.
class KRContainerShiftScale3D final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerShiftScale3D>;
    static Pointer createWithPoint(const Point3D& point, double andScale)
    {
        return createWithPoint(point, andScale, andScale, andScale);
    }
    static Pointer createWithPoint(const Point3D& point, double andScaleX, double scaleY, double scaleZ);
    static Pointer createEmpty() { return createWithPoint({0, 0, 0}, 1); } // The identity.
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    static const ReadingOperation kReading;

    const Point3D& point() const { return point_; }
    double scaleX() const { return scaleX_; }
    double scaleY() const { return scaleY_; }
    double scaleZ() const { return scaleZ_; }
    double scale() const; // Of x; different scales are reported.
    std::string typeWord() const override { return "ShiftScale3D"; }
    std::string description() const override;
    bool isEmpty() const override { return false; }
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const;

    Pointer inverse() const;
    Point3D mapPoint(const Point3D& point) const;
    Point3D mapVector(const Point3D& vector) const; // Without the shift.
    Box3D mapBox(const Box3D& box) const;
    KRBoundingBox3D mapBoundingBox(const KRBoundingBox3D& box) const; // A box without a bound stays as it is.

    KRContainerShiftScale3D(Private, const Point3D& point, double scaleX, double scaleY, double scaleZ)
        : point_(point), scaleX_(scaleX), scaleY_(scaleY), scaleZ_(scaleZ)
    { }

private:
    bool hasOneScale() const { return scaleX_ == scaleY_ && scaleY_ == scaleZ_; }

    Point3D point_;
    double scaleX_;
    double scaleY_;
    double scaleZ_;
};
