#pragma once

// The types of variables that files may hold by a number in the place of their name. Neither the numbers nor
// the names ever change, also where two names are spelled unlike.
struct SVVariableTypeCode {
    int code;
    const char* type;
};
inline constexpr SVVariableTypeCode kSVVariableTypeCodes[] = {
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
