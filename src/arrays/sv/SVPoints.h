#pragma once

// Points and vectors of the computational library. The shift of a transform moves a point but not a vector.

struct SVPoint2D {
    double x = 0;
    double y = 0;

    SVPoint2D() = default;
    SVPoint2D(double px, double py) : x(px), y(py) { }
};

struct SVVector2D {
    double x = 0;
    double y = 0;

    SVVector2D() = default;
    SVVector2D(double vx, double vy) : x(vx), y(vy) { }
};

struct SVPoint3D {
    double x = 0;
    double y = 0;
    double z = 0;

    SVPoint3D() = default;
    SVPoint3D(double px, double py, double pz) : x(px), y(py), z(pz) { }
};

struct SVVector3D {
    double x = 0;
    double y = 0;
    double z = 0;

    SVVector3D() = default;
    SVVector3D(double vx, double vy, double vz) : x(vx), y(vy), z(vz) { }
};
