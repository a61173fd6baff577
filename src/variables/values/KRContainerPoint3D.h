#pragma once

#include "arrays/geometry/KRBounds.h"
#include "arrays/geometry/KRPoints.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/StoredNumbers.h"

class KRContainerRegion3D;
class KRContainerShiftScale3D;
class KRContainerTransform3D;

// A point in space in single precision, or none: an empty one. In a file three floats, or an array of length
// 0.
class KRContainerPoint3D final : public KRContainerOfNumbers {
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerPoint3D>;
    static Pointer pointX(float x, float y, float z);
    static Pointer createWithPoint(const Point3D& point) { return pointX(point.x, point.y, point.z); }
    static Pointer createEmpty();
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    // "(Empty)" without such a variable, "Invalid" for another count of numbers.
    static std::string descriptionFor(const std::string& name, KRDataStorage& inFile);
    static const ReadingOperation kReading;

    std::string typeWord() const override { return "Point3D"; }
    std::string description() const override;
    bool isEmpty() const override { return isEmpty_; }
    Value returnParameter(const std::optional<std::string>& name) const override; // "X", "Y", "Z".
    KRAnyArray storedArray() const override;
    bool appendAsText(std::FILE* stream) const;

    // An empty point is reported: its coordinates are NaN, and it doesn't change.
    float x() const { return point3d("x coordinate").x; }
    float y() const { return point3d("y coordinate").y; }
    float z() const { return point3d("z coordinate").z; }
    Point3D point3d() const { return point3d("the point value"); }
    void setPoint(const Point3D& point);
    void setX(float x) { setPoint({x, thePoint_.y, thePoint_.z}); }
    void setY(float y) { setPoint({thePoint_.x, y, thePoint_.z}); }
    void setZ(float z) { setPoint({thePoint_.x, thePoint_.y, z}); }
    double numericalPropertyNamed(std::string_view name) const; // "x", "y", "z"; NaN and a report for others.
    Value x_py() const { return KRContainerPoint3D::returnParameter("X"); }
    Value y_py() const { return KRContainerPoint3D::returnParameter("Y"); }
    Value z_py() const { return KRContainerPoint3D::returnParameter("Z"); }

    // As for points in the plane.
    Pointer scaleWith3D(const std::shared_ptr<const KRContainerShiftScale3D>& scale) const;
    Pointer transform3D(const std::shared_ptr<const KRContainerTransform3D>& transform) const;
    std::shared_ptr<const KRContainerPoint3D> cropWith3D(
        const std::shared_ptr<const KRContainerRegion3D>& region) const;
    KRBoundingBox3D boundingBox3D() const;

    KRContainerPoint3D(Private, Point3D point, bool isEmpty) : thePoint_(point), isEmpty_(isEmpty) { }

private:
    Point3D point3d(const char* askedFor) const;

    Point3D thePoint_;
    bool isEmpty_;
};
