#pragma once

#include "arrays/geometry/KRBounds.h"
#include "arrays/geometry/KRPoints.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

class KRContainerShiftScale3D;

// A box in space; it may also be empty, or a bound that couldn't be found. In a file six doubles, xmin, xmax,
// ymin, ymax, zmin, zmax; for the two others eight, with the flags isEmpty and couldBeFound as 0 or 1.
class KRContainerRegion3D final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerRegion3D>;
    // Null, with a report, for a NaN and for sides that are reversed.
    static Pointer createWithRegion(const Box3D& box);
    static Pointer createWithBoundingBox(const KRBoundingBox3D& box); // As it is.
    static Pointer createEmpty() { return createWithBoundingBox(KRBoundingBox3DCreateEmpty()); }
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    static const ReadingOperation kReading;

    const KRBoundingBox3D& boundingBox3D() const { return theBox_; }
    bool contains(const Point3D& point) const; // The border belongs to the box.
    std::string typeWord() const override { return "Region3D"; }
    std::string description() const override;
    bool isEmpty() const override { return theBox_.isEmpty; }
    // "Origin", "Center", "Maximum Point": points; "xmin" to "zmax": numbers.
    Value returnParameter(const std::optional<std::string>& name) const override;
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const;

    Pointer padBox(double by) const; // Wider by so much on each side.
    int numberOfPoints() const { return 8; } // Its corners.
    Value simplifyOutside(const KRBoundingBox3D&) const { return shared_from_this(); }
    Value simplifyAllowingError(double) const { return shared_from_this(); }
    // Each side by the scale of its axis and the shift. Null for null.
    Pointer scaleWith3D(const std::shared_ptr<const KRContainerShiftScale3D>& scale) const;

    KRContainerRegion3D(Private, const KRBoundingBox3D& box) : theBox_(box) { }

private:
    bool isBound() const { return theBox_.couldBeFound && !theBox_.isEmpty; }

    KRBoundingBox3D theBox_;
};
