#pragma once

#include "arrays/geometry/KRBounds.h"
#include "arrays/geometry/KRPoints.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

class KRContainerRegion2D;
class KRContainerShiftScale2D;
class KRContainerTransform2D;

// A point in the plane, or none: an empty one. In a file two doubles, x and y, or an array of length 0.
class KRContainerPoint2D final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerPoint2D>;
    static Pointer pointX(double x, double y);
    static Pointer createWithPoint(const Point2D& point) { return pointX(point.x, point.y); }
    static Pointer createEmpty();
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    static const ReadingOperation kReading;

    std::string typeWord() const override { return "Point2D"; }
    std::string description() const override;
    bool isEmpty() const override { return isEmpty_; }
    Value returnParameter(const std::optional<std::string>& name) const override; // "X", "Y".
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const;

    // An empty point is reported: its coordinates are NaN, and it doesn't change.
    double x() const;
    double y() const;
    Point2D point2d() const;
    void setPoint(const Point2D& point);
    void setX(double x);
    void setY(double y);
    // A coordinate for scripts: "x", and "z" for the second one, as files call it. Another name is reported
    // and gives NaN.
    double numericalPropertyNamed(std::string_view name) const;
    Value x_py() const { return KRContainerPoint2D::returnParameter("X"); }
    Value y_py() const { return KRContainerPoint2D::returnParameter("Y"); }

    // New points; an empty point stays empty, and a null argument gives null.
    Pointer scaleWith2D(const std::shared_ptr<const KRContainerShiftScale2D>& scale) const;
    Pointer transform2D(const std::shared_ptr<const KRContainerTransform2D>& transform) const;
    // The same point when it lies in the region or on its border, else an empty one.
    std::shared_ptr<const KRContainerPoint2D> cropWith2D(
        const std::shared_ptr<const KRContainerRegion2D>& region) const;
    KRBoundingBox2D boundingBox2D() const override; // Of one point; empty for an empty one.

    KRContainerPoint2D(Private, Point2D point, bool isEmpty) : mPoint_(point), isEmpty_(isEmpty) { }

private:
    bool mayChange() const;

    Point2D mPoint_;
    bool isEmpty_;
};
