#ifndef LXBASE_POINTS_H
#define LXBASE_POINTS_H

#include <cstddef>

#include "lxbase/export.h"

namespace lxbase {

template <typename T> struct tBasePolarPoint;

// Cartesian point; x, y, z are contiguous. (Operations beyond construction and
// copying are being added by the geometry work.)
template <typename T>
struct LXBASE_API tBaseXYZPoint {
    T x;
    T y;
    T z;

    tBaseXYZPoint() : x(0), y(0), z(0) {}
    tBaseXYZPoint(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}
};

// Polar point: range, horizontal angle from +X towards +Y, vertical angle from +Z.
template <typename T>
struct LXBASE_API tBasePolarPoint {
    T range;
    T horizontalAngle;
    T verticalAngle;

    tBasePolarPoint() : range(0), horizontalAngle(0), verticalAngle(0) {}
    tBasePolarPoint(T r, T h, T v) : range(r), horizontalAngle(h), verticalAngle(v) {}
};

// Plain record of three doubles, laid out like tBaseXYZPoint<double>.
struct LXBASE_API XYZ {
    double x = 0;
    double y = 0;
    double z = 0;
};

}  // namespace lxbase

#endif
