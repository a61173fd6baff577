#pragma once

#include "arrays/geometry/KRPoints.h"

#include <limits>
#include <string>

// Bounds of values and of regions: a range, and boxes of two and three dimensions.
//
// The two flags have three meanings. Only couldBeFound: the numbers are a real bound. Both: empty, there is
// nothing to bound. None: invalid, the bound couldn't be found. Empty and invalid bounds have zeros as
// numbers.
//
// A number that is not allowed in a bound, or a reversed pair, is reported and gives an invalid bound.

struct KRBoundingRange {
    double minV;
    double maxV;
    bool isEmpty;
    bool couldBeFound;
};

struct KRBoundingBox2D {
    double xmin;
    double xmax;
    double ymin;
    double ymax;
    bool isEmpty;
    bool couldBeFound;
};

struct KRBoundingBox3D {
    double xmin;
    double xmax;
    double ymin;
    double ymax;
    double zmin;
    double zmax;
    bool isEmpty;
    bool couldBeFound;
};

// The function that gets the reports of this file; null, the default, means SVErrorMessage. An application
// sets it once, before it starts threads.
using KRBoundsReporter = void (*)(const std::string& message);
void KRSetBoundsReporter(KRBoundsReporter reporter);

KRBoundingRange KRBoundingRangeCreateEmpty();
KRBoundingRange KRBoundingRangeCreateInvalid();
KRBoundingRange KRBoundingRangeCreate(double a, double b); // In either order; infinities are accepted.
KRBoundingRange KRBoundingRangePad(double d, const KRBoundingRange& r); // A d below 0 counts as 0.
bool KRBoundingRangeEqual(const KRBoundingRange& a, const KRBoundingRange& b); // Flags and numbers.

// The union of an invalid bound and another is the other one. An intersection with an invalid bound is
// invalid. Bounds that touch intersect in a real bound of width 0.
KRBoundingRange KRBoundingRangeUnion(const KRBoundingRange& a, const KRBoundingRange& b);
KRBoundingRange KRBoundingRangeIntersection(const KRBoundingRange& a, const KRBoundingRange& b);

KRBoundingBox2D KRBoundingBox2DCreateEmpty();
KRBoundingBox2D KRBoundingBox2DCreateInvalid();
KRBoundingBox2D KRBoundingBox2DCreate(double xmin, double xmax, double ymin, double ymax);
KRBoundingBox2D KRBoundingBox2DCreateAllowInf(double xmin, double xmax, double ymin, double ymax);
KRBoundingBox2D KRBoundingBox2DCreateFromPoint(const Point2D& p);
bool KRBoundingBox2DCheckValidity(const KRBoundingBox2D& box); // min <= max on each axis.
KRBoundingBox2D KRBoundingBox2DUnion(const KRBoundingBox2D& a, const KRBoundingBox2D& b);
KRBoundingBox2D KRBoundingBox2DIntersection(const KRBoundingBox2D& a, const KRBoundingBox2D& b);
void KRBoundingBox2DAddBoxes(KRBoundingBox2D& a, const KRBoundingBox2D& b); // a becomes the union.
bool KRBoundingBox2DNonZeroIntersection(
    const KRBoundingBox2D& a, const KRBoundingBox2D& b); // Interiors overlap.

// `others` with a new bound over one axis; by default the other axis is unbounded. If `others` is empty or
// invalid it is returned unchanged.
inline constexpr double KRUnbounded = std::numeric_limits<double>::infinity();
inline constexpr KRBoundingBox2D KRWholePlane{
    -KRUnbounded, KRUnbounded, -KRUnbounded, KRUnbounded, false, true};
KRBoundingBox2D KRBoundingBox2D_X(double minX, double maxX, const KRBoundingBox2D& others = KRWholePlane);
KRBoundingBox2D KRBoundingBox2D_Y(double minY, double maxY, const KRBoundingBox2D& others = KRWholePlane);

KRBoundingBox3D KRBoundingBox3DCreateEmpty();
KRBoundingBox3D KRBoundingBox3DCreateInvalid();
KRBoundingBox3D KRBoundingBox3DCreate(
    double xmin, double xmax, double ymin, double ymax, double zmin, double zmax);
KRBoundingBox3D KRBoundingBox3DCreateAllowInf(
    double xmin, double xmax, double ymin, double ymax, double zmin, double zmax);
bool KRBoundingBox3DCheckValidity(const KRBoundingBox3D& box);
KRBoundingBox3D KRBoundingBox3DUnion(const KRBoundingBox3D& a, const KRBoundingBox3D& b);
KRBoundingBox3D KRBoundingBox3DIntersection(const KRBoundingBox3D& a, const KRBoundingBox3D& b);
void KRBoundingBox3DAddBoxes(KRBoundingBox3D& a, const KRBoundingBox3D& b);

// Bounds over one or two axes, as in the plane.
inline constexpr KRBoundingBox3D KRWholeSpace{
    -KRUnbounded, KRUnbounded, -KRUnbounded, KRUnbounded, -KRUnbounded, KRUnbounded, false, true};
KRBoundingBox3D KRBoundingBox3D_X(double minX, double maxX, const KRBoundingBox3D& others = KRWholeSpace);
KRBoundingBox3D KRBoundingBox3D_Y(double minY, double maxY, const KRBoundingBox3D& others = KRWholeSpace);
KRBoundingBox3D KRBoundingBox3D_Z(double minZ, double maxZ, const KRBoundingBox3D& others = KRWholeSpace);
KRBoundingBox3D KRBoundingBox3D_XY(
    double xmin, double xmax, double ymin, double ymax, const KRBoundingBox3D& others = KRWholeSpace);
KRBoundingBox3D KRBoundingBox3D_XZ(
    double xmin, double xmax, double zmin, double zmax, const KRBoundingBox3D& others = KRWholeSpace);
KRBoundingBox3D KRBoundingBox3D_YZ(
    double ymin, double ymax, double zmin, double zmax, const KRBoundingBox3D& others = KRWholeSpace);
