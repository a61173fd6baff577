#pragma once

#include <string_view>
#include <utility>

namespace variables {

// The types that the program knows without any resource: type name and interface name. The resource
// "TypeNames.plist" holds the same pairs and may be changed by whoever installs the program.
inline constexpr std::pair<std::string_view, std::string_view> kBuiltInTypes[] = {
    {"Array", "Array"},
    {"Bitmap2D", "2D Bitmap"},
    {"FileName", "File Name"},
    {"Group", "Group"},
    {"Mesh2D", "2D Mesh"},
    {"Mesh3D", "3D Mesh"},
    {"NumberList", "List of Numbers"},
    {"Path2D", "2D Path"},
    {"Path3D", "3D Path"},
    {"Point2D", "2D Point"},
    {"Point3D", "3D Point"},
    {"PointCollection2D", "2D Point Collection"},
    {"PrismGrid3D", "3D Prism Grid"},
    {"PrismMesh3D", "3D Prism Mesh"},
    {"PrismVectorField3D", "3D Prism Vector Field"},
    {"Range", "Range"},
    {"Real Number", "Real Number"},
    {"Region2D", "2D Region"},
    {"Region3D", "3D Region"},
    {"Series", "Series"},
    {"ShiftScale2D", "2D Shift and Scale"},
    {"ShiftScale3D", "3D Shift and Scale"},
    {"String", "String"},
    {"StringList", "List of Strings"},
    {"Surface", "Surface"},
    {"Table", "Table"},
    {"Transform2D", "2D Transform"},
    {"Transform3D", "3D Transform"},
    {"Vector2D", "2D Vector"},
    {"Vector3D", "3D Vector"},
    {"VectorCollection2D", "2D Vector Collection"},
    {"VectorCollection3D", "3D Vector Collection"},
    {"VectorField3D", "3D Vector Field"},
    {"Vectorfield2D", "2D Vector Field"},
};

} // namespace variables
