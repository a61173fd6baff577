#include "arrays/geometry/KRBounds.h"

#include "arrays/sv/SVErrorMessage.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>

namespace {

KRBoundsReporter theReporter = nullptr;

void report(const char* message)
{
    if (theReporter != nullptr)
        theReporter(message);
    else
        SVErrorMessage(message);
}

// The two numbers of one axis of a bound.
template <class Bound>
struct Axis {
    double Bound::*min;
    double Bound::*max;
};

using Box2 = KRBoundingBox2D;
using Box3 = KRBoundingBox3D;

constexpr Axis<KRBoundingRange> kRangeAxes[] = {{&KRBoundingRange::minV, &KRBoundingRange::maxV}};
constexpr Axis<Box2> kBox2Axes[] = {{&Box2::xmin, &Box2::xmax}, {&Box2::ymin, &Box2::ymax}};
constexpr Axis<Box3> kBox3Axes[] = {
    {&Box3::xmin, &Box3::xmax}, {&Box3::ymin, &Box3::ymax}, {&Box3::zmin, &Box3::zmax}};

constexpr const auto& axesOf(const KRBoundingRange&)
{
    return kRangeAxes;
}
constexpr const auto& axesOf(const Box2&)
{
    return kBox2Axes;
}
constexpr const auto& axesOf(const Box3&)
{
    return kBox3Axes;
}

template <class Bound>
Bound bare(bool isEmpty, bool couldBeFound)
{
    Bound bound{};
    bound.isEmpty = isEmpty;
    bound.couldBeFound = couldBeFound;
    return bound;
}

template <class Bound>
Bound empty()
{
    return bare<Bound>(true, true);
}

template <class Bound>
Bound invalid()
{
    return bare<Bound>(false, false);
}

template <class Bound>
bool isInvalid(const Bound& bound)
{
    return !bound.isEmpty && !bound.couldBeFound;
}

template <class Bound>
bool isReal(const Bound& bound)
{
    return !bound.isEmpty && bound.couldBeFound;
}

template <class Bound>
bool isOrdered(const Bound& bound)
{
    const auto& axes = axesOf(bound);
    return std::all_of(std::begin(axes), std::end(axes),
        [&](const auto& axis) { return bound.*axis.min <= bound.*axis.max; });
}

template <class Bound>
Bound united(const Bound& a, const Bound& b)
{
    if (isInvalid(a))
        return b;
    if (isInvalid(b))
        return a;
    if (a.isEmpty)
        return b;
    if (b.isEmpty)
        return a;
    Bound result = a;
    for (const auto& axis : axesOf(a)) {
        result.*axis.min = std::min(a.*axis.min, b.*axis.min);
        result.*axis.max = std::max(a.*axis.max, b.*axis.max);
    }
    return result;
}

// The intersection of the numbers of two bounds, neither of them invalid.
template <class Bound>
Bound commonNumbers(const Bound& a, const Bound& b)
{
    Bound result = bare<Bound>(false, true);
    for (const auto& axis : axesOf(a)) {
        result.*axis.min = std::max(a.*axis.min, b.*axis.min);
        result.*axis.max = std::min(a.*axis.max, b.*axis.max);
    }
    return isOrdered(result) ? result : empty<Bound>();
}

template <class Box>
Box commonBox(const Box& a, const Box& b)
{
    if (isInvalid(a) || isInvalid(b))
        return invalid<Box>();
    if (a.isEmpty || b.isEmpty)
        return empty<Box>();
    return commonNumbers(a, b);
}

bool isNaN(double number)
{
    return std::isnan(number);
}

bool isNotFinite(double number)
{
    return !std::isfinite(number);
}

// A bound over one axis: the number of the axis, and the two numbers of the bound.
struct Side {
    std::size_t axis;
    double min;
    double max;
};

// `others` with new bounds over some axes; an empty or invalid one stays as it is. Refused numbers and a
// reversed pair are reported.
template <class Box>
Box bounded(const Box& others, std::initializer_list<Side> sides, bool (*refused)(double),
    const char* refusal, const char* reversal)
{
    Box box = others;
    for (const Side& side : sides) {
        if (refused(side.min) || refused(side.max)) {
            report(refusal);
            return invalid<Box>();
        }
        if (isReal(others)) {
            box.*axesOf(box)[side.axis].min = side.min;
            box.*axesOf(box)[side.axis].max = side.max;
        }
    }
    if (isReal(box) && !isOrdered(box)) {
        report(reversal);
        return invalid<Box>();
    }
    return box;
}

constexpr const char* kNoNaNOrInf2 = "Not allowing KRBoundingBox2D to contain NaN or Inf";
constexpr const char* kNoNaN2 = "Not allowing KRBoundingBox2D to contain NaN";
constexpr const char* kNotANaN2 = "Not allowing KRBoundingBox2D to contain a NaN";
constexpr const char* kNoNaNOrInf3 = "Not allowing KRBoundingBox3D to contain NaN or Inf";
constexpr const char* kNoNaN3 = "Not allowing KRBoundingBox3D to contain NaN";
constexpr const char* kNotANaN3 = "Not allowing KRBoundingBox3D to contain a NaN";

constexpr const char* kReversedXY = "Bounding box creation: xmin>xmax or ymin>ymax.";
constexpr const char* kReversedXZ =
    "Bounding box creation: xmin>xmax or zmin>zax."; // Users search logs for "zax".
constexpr const char* kReversedYZ = "Bounding box creation: ymin>ymax or zmin>zmax.";
constexpr const char* kReversedXYZ = "Bounding box creation: xmin>xmax or ymin>ymax or zmin>zmax.";

} // namespace

void KRSetBoundsReporter(KRBoundsReporter reporter)
{
    theReporter = reporter;
}

KRBoundingRange KRBoundingRangeCreateEmpty()
{
    return empty<KRBoundingRange>();
}

KRBoundingRange KRBoundingRangeCreateInvalid()
{
    return invalid<KRBoundingRange>();
}

KRBoundingRange KRBoundingRangeCreate(double a, double b)
{
    if (isNaN(a) || isNaN(b)) {
        report("Not allowing KRBoundingRange to contain NaN");
        return KRBoundingRangeCreateInvalid();
    }
    return {std::min(a, b), std::max(a, b), false, true};
}

KRBoundingRange KRBoundingRangePad(double d, const KRBoundingRange& r)
{
    const double width = d > 0 ? d : 0;
    return isReal(r) ? KRBoundingRange{r.minV - width, r.maxV + width, false, true} : r;
}

bool KRBoundingRangeEqual(const KRBoundingRange& a, const KRBoundingRange& b)
{
    return a.isEmpty == b.isEmpty && a.couldBeFound == b.couldBeFound && a.minV == b.minV && a.maxV == b.maxV;
}

KRBoundingRange KRBoundingRangeUnion(const KRBoundingRange& a, const KRBoundingRange& b)
{
    return united(a, b);
}

KRBoundingRange KRBoundingRangeIntersection(const KRBoundingRange& a, const KRBoundingRange& b)
{
    // Unlike an empty box, an empty range counts with its numbers, which are zeros: with a range around 0 it
    // gives the real range (0,0).
    return isInvalid(a) || isInvalid(b) ? invalid<KRBoundingRange>() : commonNumbers(a, b);
}

// The functions that the boxes of the plane and of space have in common.
#define KR_BOX_FUNCTIONS(Box)                                                                                \
    Box Box##CreateEmpty()                                                                                   \
    {                                                                                                        \
        return empty<Box>();                                                                                 \
    }                                                                                                        \
    Box Box##CreateInvalid()                                                                                 \
    {                                                                                                        \
        return invalid<Box>();                                                                               \
    }                                                                                                        \
    bool Box##CheckValidity(const Box& box)                                                                  \
    {                                                                                                        \
        return isOrdered(box);                                                                               \
    }                                                                                                        \
    Box Box##Union(const Box& a, const Box& b)                                                               \
    {                                                                                                        \
        return united(a, b);                                                                                 \
    }                                                                                                        \
    Box Box##Intersection(const Box& a, const Box& b)                                                        \
    {                                                                                                        \
        return commonBox(a, b);                                                                              \
    }                                                                                                        \
    void Box##AddBoxes(Box& a, const Box& b)                                                                 \
    {                                                                                                        \
        a = united(a, b);                                                                                    \
    }

KR_BOX_FUNCTIONS(KRBoundingBox2D)
KR_BOX_FUNCTIONS(KRBoundingBox3D)

#undef KR_BOX_FUNCTIONS

KRBoundingBox2D KRBoundingBox2DCreate(double xmin, double xmax, double ymin, double ymax)
{
    return bounded(KRWholePlane, {{0, xmin, xmax}, {1, ymin, ymax}}, isNotFinite, kNoNaNOrInf2, kReversedXY);
}

KRBoundingBox2D KRBoundingBox2DCreateAllowInf(double xmin, double xmax, double ymin, double ymax)
{
    return bounded(KRWholePlane, {{0, xmin, xmax}, {1, ymin, ymax}}, isNaN, kNoNaN2, kReversedXY);
}

KRBoundingBox2D KRBoundingBox2DCreateFromPoint(const Point2D& p)
{
    return KRBoundingBox2DCreate(p.x, p.x, p.y, p.y);
}

bool KRBoundingBox2DNonZeroIntersection(const KRBoundingBox2D& a, const KRBoundingBox2D& b)
{
    return isReal(a) && isReal(b) && a.xmin < b.xmax && b.xmin < a.xmax && a.ymin < b.ymax && b.ymin < a.ymax;
}

KRBoundingBox2D KRBoundingBox2D_X(double minX, double maxX, const KRBoundingBox2D& others)
{
    return bounded(others, {{0, minX, maxX}}, isNaN, kNotANaN2, "minX>maxX when calling BoundingBox2D_X");
}

KRBoundingBox2D KRBoundingBox2D_Y(double minY, double maxY, const KRBoundingBox2D& others)
{
    return bounded(others, {{1, minY, maxY}}, isNaN, kNotANaN2, "minY>maxY when calling BoundingBox2D_Y");
}

KRBoundingBox3D KRBoundingBox3DCreate(
    double xmin, double xmax, double ymin, double ymax, double zmin, double zmax)
{
    return bounded(KRWholeSpace, {{0, xmin, xmax}, {1, ymin, ymax}, {2, zmin, zmax}}, isNotFinite,
        kNoNaNOrInf3, kReversedXYZ);
}

KRBoundingBox3D KRBoundingBox3DCreateAllowInf(
    double xmin, double xmax, double ymin, double ymax, double zmin, double zmax)
{
    // The z axis is tested, too, although the text does not name it.
    return bounded(
        KRWholeSpace, {{0, xmin, xmax}, {1, ymin, ymax}, {2, zmin, zmax}}, isNaN, kNoNaN3, kReversedXY);
}

KRBoundingBox3D KRBoundingBox3D_X(double minX, double maxX, const KRBoundingBox3D& others)
{
    return bounded(others, {{0, minX, maxX}}, isNaN, kNotANaN3, "minX>maxX when calling BoundingBox3D_X");
}

KRBoundingBox3D KRBoundingBox3D_Y(double minY, double maxY, const KRBoundingBox3D& others)
{
    return bounded(others, {{1, minY, maxY}}, isNaN, kNotANaN3, "minY>maxY when calling BoundingBox3D_Y");
}

KRBoundingBox3D KRBoundingBox3D_Z(double minZ, double maxZ, const KRBoundingBox3D& others)
{
    return bounded(others, {{2, minZ, maxZ}}, isNaN, kNotANaN3, "minZ>maxZ when calling BoundingBox3D_Z");
}

KRBoundingBox3D KRBoundingBox3D_XY(
    double xmin, double xmax, double ymin, double ymax, const KRBoundingBox3D& others)
{
    return bounded(others, {{0, xmin, xmax}, {1, ymin, ymax}}, isNaN, kNoNaN3, kReversedXY);
}

KRBoundingBox3D KRBoundingBox3D_XZ(
    double xmin, double xmax, double zmin, double zmax, const KRBoundingBox3D& others)
{
    return bounded(others, {{0, xmin, xmax}, {2, zmin, zmax}}, isNaN, kNoNaN3, kReversedXZ);
}

KRBoundingBox3D KRBoundingBox3D_YZ(
    double ymin, double ymax, double zmin, double zmax, const KRBoundingBox3D& others)
{
    return bounded(others, {{1, ymin, ymax}, {2, zmin, zmax}}, isNaN, kNoNaN3, kReversedYZ);
}
