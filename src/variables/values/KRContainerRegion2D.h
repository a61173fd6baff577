#pragma once

#include "arrays/geometry/KRBounds.h"
#include "arrays/geometry/KRPoints.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

class KRContainerShiftScale2D;

// A box in the plane; it may also be empty, or a bound that couldn't be found. In a file four doubles, xmin,
// xmax, ymin, ymax; for the two others six, with the flags isEmpty and couldBeFound as 0 or 1.
class KRContainerRegion2D final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerRegion2D>;
    // Null, with a report, for a NaN and for sides that are reversed.
    static Pointer createWithRegion(const Box2D& box);
    static Pointer createWithBoundingBox(const KRBoundingBox2D& box); // As it is.
    // From the lower left corner; null, with a report, for a size below 0 and for what isn't finite.
    static Pointer createWithRect(double x, double y, double width, double height);
    static Pointer createEmpty() { return createWithBoundingBox(KRBoundingBox2DCreateEmpty()); }
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    static const ReadingOperation kReading;

    KRBoundingBox2D boundingBox2D() const override { return theBox_; }
    bool contains(const Point2D& point) const; // The border belongs to the box.
    std::string typeWord() const override { return "Region2D"; }
    std::string description() const override;
    bool isEmpty() const override { return theBox_.isEmpty; }
    bool isEqualTo(const KRSharedValue& other) const override;
    // "Origin", "Center", "Maximum Point": points; "Width", "Height", "xmin", "xmax", "ymin", "ymax":
    // numbers.
    Value returnParameter(const std::optional<std::string>& name) const override;
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const;

    Pointer padBox(double by) const; // Wider by so much on each side.
    int numberOfPoints() const { return 4; } // Its corners.
    Value simplifyOutside(const KRBoundingBox2D&) const { return shared_from_this(); }
    Value simplifyAllowingError(double) const { return shared_from_this(); }
    // The smallest x and y by the scale's x, the largest ones by its y, each with its shift; pairs that come
    // out reversed are put right. Null for null.
    Pointer scaleWith2D(const std::shared_ptr<const KRContainerShiftScale2D>& scale) const;

    KRContainerRegion2D(Private, const KRBoundingBox2D& box) : theBox_(box) { }

private:
    bool isBound() const { return theBox_.couldBeFound && !theBox_.isEmpty; }

    KRBoundingBox2D theBox_;
};
