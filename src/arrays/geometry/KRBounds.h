#pragma once

#include "arrays/geometry/KRPoints.h"

#include <limits>
#include <string>

// Bounds of values and of regions: a range, and boxes of two and three dimensions.
//
// The two flags say three things. Neither empty nor unfound: the numbers are a real bound. isEmpty and
// couldBeFound: it is known that there is nothing. Neither of the two flags: invalid, the bound couldn't be
// worked out. The numbers of the latter two are zeros.
//
// A number that can't be in a bound, or a reversed pair, is reported and gives an invalid bound.

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

// Who gets the reports of this file; null, as at the start, for SVErrorMessage. An application with a message
// center of its own sets it once, before there are threads.
using KRBoundsReporter = void (*)(const std::string& message);
void KRSetBoundsReporter(KRBoundsReporter reporter);

KRBoundingRange KRBoundingRangeCreateEmpty();
KRBoundingRange KRBoundingRangeCreateInvalid();
KRBoundingRange KRBoundingRangeCreate(double a, double b); // In either order; infinities are accepted.
KRBoundingRange KRBoundingRangePad(double d, const KRBoundingRange& r); // A d below 0 counts as 0.
bool KRBoundingRangeEqual(const KRBoundingRange& a, const KRBoundingRange& b); // Flags and numbers.

// The union of an invalid bound and another is the other one: what couldn't be worked out does no harm. An
// intersection with it is invalid. Bounds that touch intersect in a real bound of width 0.
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

// A bound over one axis, the other left as it is in `others`: unbounded if that isn't given. An empty or
// invalid one is returned as it is.
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
