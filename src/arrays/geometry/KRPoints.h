#pragma once

#include "arrays/sv/SVPoints.h"

#include <cstdint>

// The point structures of the object layer, and their conversion to and from those of the computational
// library.

struct Point2D {
    double x;
    double y;
};

struct Point3D { // Single precision by design: clouds of points are large.
    float x;
    float y;
    float z;
};

struct DoublePoint3D {
    double x;
    double y;
    double z;
};

// The corners of a region, in the order of the bounding boxes, and a count of points.
struct Box2D {
    double xmin;
    double xmax;
    double ymin;
    double ymax;
    std::int32_t count;
};

struct Box3D {
    double xmin;
    double xmax;
    double ymin;
    double ymax;
    double zmin;
    double zmax;
    std::int32_t count;
};

inline SVPoint2D ConvertToSV(const Point2D& p)
{
    return SVPoint2D(p.x, p.y);
}
inline SVPoint3D ConvertToSV(const Point3D& p)
{
    return SVPoint3D(p.x, p.y, p.z);
}
inline SVPoint3D ConvertToSV(const DoublePoint3D& p)
{
    return SVPoint3D(p.x, p.y, p.z);
}

inline Point2D ConvertToKR(const SVPoint2D& p)
{
    return {p.x, p.y};
}
inline Point2D ConvertToKR(const SVVector2D& v)
{
    return {v.x, v.y};
}
inline DoublePoint3D ConvertToKR(const SVPoint3D& p)
{
    return {p.x, p.y, p.z};
}
inline DoublePoint3D ConvertToKR(const SVVector3D& v)
{
    return {v.x, v.y, v.z};
}
