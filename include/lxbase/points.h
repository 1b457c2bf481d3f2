#ifndef LXBASE_POINTS_H
#define LXBASE_POINTS_H

#include <cstddef>

#include "lxbase/export.h"

namespace lxbase {

template <typename T> struct tBasePolarPoint;

// Cartesian point; x, y, z lie contiguously in this order, so ToArray()
// addresses them as an array of three T. Provided for float and double.
//
// The operations whose result depends on the order of floating-point
// operations (ordering, distance, angles, conversions) are compiled into the
// library, so their results do not depend on the client's compiler flags.
template <typename T>
struct LXBASE_API tBaseXYZPoint {
    T x;
    T y;
    T z;

    tBaseXYZPoint() : x(0), y(0), z(0) {}
    tBaseXYZPoint(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

    // Polar to Cartesian. sin v, cos h, sin h and cos v are evaluated in U's
    // precision and rounded to T; the products cos h * (sin v * r),
    // sin h * (sin v * r) and cos v * r are formed in the wider of T and U
    // and rounded to T once more.
    template <typename U>
    tBaseXYZPoint& operator=(const tBasePolarPoint<U>& p);

    // Z-order (Morton) comparison on the raw floating-point coordinates: the
    // coordinate whose values differ at the most significant binary level
    // decides (ties to the lower axis); a sign difference decides first.
    // Float coordinates are compared as their (exact) double values.
    bool operator<(const tBaseXYZPoint& p) const;

    bool operator==(const tBaseXYZPoint& p) const { return x == p.x && y == p.y && z == p.z; }

    tBaseXYZPoint& operator*=(T s) { x *= s; y *= s; z *= s; return *this; }
    tBaseXYZPoint& operator/=(T s) { x /= s; y /= s; z /= s; return *this; }
    tBaseXYZPoint& operator+=(T s) { x += s; y += s; z += s; return *this; }
    tBaseXYZPoint& operator-=(T s) { x -= s; y -= s; z -= s; return *this; }
    tBaseXYZPoint& operator+=(const tBaseXYZPoint& p) { x += p.x; y += p.y; z += p.z; return *this; }
    tBaseXYZPoint& operator-=(const tBaseXYZPoint& p) { x -= p.x; y -= p.y; z -= p.z; return *this; }

    // sqrt(((x - p.x)^2 + (y - p.y)^2) + (z - p.z)^2), in T's precision.
    T Distance(const tBaseXYZPoint& p) const;
    // sqrt((x^2 + y^2) + z^2).
    T Range() const;
    // atan2(y, x), in [-pi, pi].
    T HorizontalAngle() const;
    // atan2(sqrt(x^2 + y^2), z), in [0, pi]: the angle from +Z.
    T VerticalAngle() const;

    // No range check: i must be 0, 1 or 2.
    T operator[](std::size_t i) const { return i == 0 ? x : (i == 1 ? y : z); }
    T& operator[](std::size_t i) { return i == 0 ? x : (i == 1 ? y : z); }

    T* ToArray() { return &x; }
    const T* ToArray() const { return &x; }
};

// Polar point: range, horizontal angle from +X towards +Y, vertical angle
// from +Z, radians. Provided for float and double.
template <typename T>
struct LXBASE_API tBasePolarPoint {
    T range;
    T horizontalAngle;
    T verticalAngle;

    tBasePolarPoint() : range(0), horizontalAngle(0), verticalAngle(0) {}
    tBasePolarPoint(T r, T h, T v) : range(r), horizontalAngle(h), verticalAngle(v) {}

    // Cartesian to polar: range, vertical and horizontal angle computed in
    // U's precision (the source point's Range(), VerticalAngle() and
    // HorizontalAngle()), each rounded to T when stored.
    template <typename U>
    tBasePolarPoint& operator=(const tBaseXYZPoint<U>& p);
};

extern template struct tBaseXYZPoint<float>;
extern template struct tBaseXYZPoint<double>;
extern template struct tBasePolarPoint<float>;
extern template struct tBasePolarPoint<double>;

// The conversions exist for every combination of float and double.
extern template tBaseXYZPoint<float>& tBaseXYZPoint<float>::operator=(const tBasePolarPoint<float>&);
extern template tBaseXYZPoint<float>& tBaseXYZPoint<float>::operator=(const tBasePolarPoint<double>&);
extern template tBaseXYZPoint<double>& tBaseXYZPoint<double>::operator=(const tBasePolarPoint<float>&);
extern template tBaseXYZPoint<double>& tBaseXYZPoint<double>::operator=(const tBasePolarPoint<double>&);
extern template tBasePolarPoint<float>& tBasePolarPoint<float>::operator=(const tBaseXYZPoint<float>&);
extern template tBasePolarPoint<float>& tBasePolarPoint<float>::operator=(const tBaseXYZPoint<double>&);
extern template tBasePolarPoint<double>& tBasePolarPoint<double>::operator=(const tBaseXYZPoint<float>&);
extern template tBasePolarPoint<double>& tBasePolarPoint<double>::operator=(const tBaseXYZPoint<double>&);

// Short names of the instantiated point types.
using XYZd = tBaseXYZPoint<double>;
using XYZf = tBaseXYZPoint<float>;
using Polard = tBasePolarPoint<double>;
using Polarf = tBasePolarPoint<float>;

// Plain record of three doubles, laid out like tBaseXYZPoint<double>.
struct LXBASE_API XYZ {
    double x = 0;
    double y = 0;
    double z = 0;

    XYZ() = default;
    XYZ(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}
};

}  // namespace lxbase

#endif
