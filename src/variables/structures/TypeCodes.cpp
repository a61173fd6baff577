#include "variables/structures/TypeCodes.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace variables {

namespace {

// Files on disk hold these numbers and names: neither ever changes, also where two names are spelled unlike.
constexpr struct {
    int code;
    const char* type;
} kTypeCodes[] = {
    {1, "Path2D"},
    {2, "Path3D"},
    {3, "Surface"},
    {5, "Mesh2D"},
    {6, "Mesh3D"},
    {7, "VectorCollection2D"},
    {8, "VectorCollection3D"},
    {10, "Bitmap2D"},
    {11, "String"},
    {12, "Point2D"},
    {13, "Point3D"},
    {14, "Vector2D"},
    {15, "Vector3D"},
    {20, "Vectorfield2D"},
    {21, "VectorField3D"},
    {22, "Real Number"},
    {28, "PointCollection2D"},
};

} // namespace

std::string typeForCode(double code)
{
    const auto* row = std::find_if(std::begin(kTypeCodes), std::end(kTypeCodes),
        [whole = std::trunc(code)](const auto& entry) { return entry.code == whole; });
    return row == std::end(kTypeCodes) ? "Unknown" : row->type;
}

} // namespace variables
