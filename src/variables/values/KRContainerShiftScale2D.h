#pragma once

#include "arrays/geometry/KRBounds.h"
#include "arrays/geometry/KRPoints.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

class KRContainerTransform2D;

// A mapping of the plane that scales each axis and then shifts. In a file four doubles: x, y, scaleX, scaleY.
class KRContainerShiftScale2D final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerShiftScale2D>;
    static Pointer createWithX(double x, double y, double andScale)
    {
        return create({x, y}, andScale, andScale);
    }
    static Pointer createWithX(double x, double y, double andScaleX, double scaleY)
    {
        return create({x, y}, andScaleX, scaleY);
    }
    static Pointer createWithPoint(const Point2D& point, double andScale)
    {
        return create(point, andScale, andScale);
    }
    static Pointer createWithPoint(const Point2D& point, double andScaleX, double scaleY)
    {
        return create(point, andScaleX, scaleY);
    }
    static Pointer createEmpty() { return create({0, 0}, 1, 1); } // The identity.
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    static const ReadingOperation kReading;

    const Point2D& point() const { return point_; }
    double scaleX() const { return scaleX_; }
    double scaleY() const { return scaleY_; }
    double scale() const; // Of x; different scales are reported.
    std::string typeWord() const override { return "ShiftScale2D"; }
    std::string description() const override;
    bool isEmpty() const override { return false; }
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const;

    std::shared_ptr<KRContainerTransform2D> transform2D() const;
    Pointer inverse() const;
    Point2D mapPoint(const Point2D& point) const;
    Point2D mapVector(const Point2D& vector) const; // Without the shift.
    Box2D mapBox(const Box2D& box) const;
    KRBoundingBox2D mapBoundingBox(const KRBoundingBox2D& box) const; // A box without a bound stays as it is.

    KRContainerShiftScale2D(Private, const Point2D& point, double scaleX, double scaleY)
        : point_(point), scaleX_(scaleX), scaleY_(scaleY)
    { }

private:
    static Pointer create(const Point2D& point, double scaleX, double scaleY);

    Point2D point_;
    double scaleX_;
    double scaleY_;
};
