#ifndef LXBASE_POINTS_H
#define LXBASE_POINTS_H

#include <cstddef>

#include "lxbase/export.h"

namespace lxbase {

template <typename T> struct tBasePolarPoint;

/// Cartesian point; x, y, z lie contiguously in this order, so ToArray()
/// addresses them as an array of three T. Provided for float and double.
///
/// The operations whose result depends on the order of floating-point
/// operations (ordering, distance, angles, conversions) are compiled into the
/// library, so their results do not depend on the client's compiler flags.
template <typename T>
struct LXBASE_API tBaseXYZPoint {
    T x;  ///< X coordinate.
    T y;  ///< Y coordinate.
    T z;  ///< Z coordinate.

    /// (0, 0, 0).
    tBaseXYZPoint() : x(0), y(0), z(0) {}
    /// (x_, y_, z_).
    tBaseXYZPoint(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

    /// Polar to Cartesian. sin v, cos h, sin h and cos v are evaluated in U's
    /// precision and rounded to T; the products cos h * (sin v * r),
    /// sin h * (sin v * r) and cos v * r are formed in the wider of T and U
    /// and rounded to T once more.
    template <typename U>
    tBaseXYZPoint& operator=(const tBasePolarPoint<U>& p);

    /// Z-order (Morton) comparison on the raw floating-point coordinates: the
    /// coordinate whose values differ at the most significant binary level
    /// decides (ties to the lower axis); a sign difference decides first.
    /// Float coordinates are compared as their (exact) double values.
    bool operator<(const tBaseXYZPoint& p) const;

    /// True if the three coordinates compare equal (so never for a NaN).
    bool operator==(const tBaseXYZPoint& p) const { return x == p.x && y == p.y && z == p.z; }

    /// Multiplies every coordinate by s.
    tBaseXYZPoint& operator*=(T s) { x *= s; y *= s; z *= s; return *this; }
    /// Divides every coordinate by s (no check for zero).
    tBaseXYZPoint& operator/=(T s) { x /= s; y /= s; z /= s; return *this; }
    /// Adds s to every coordinate.
    tBaseXYZPoint& operator+=(T s) { x += s; y += s; z += s; return *this; }
    /// Subtracts s from every coordinate.
    tBaseXYZPoint& operator-=(T s) { x -= s; y -= s; z -= s; return *this; }
    /// Adds p coordinate by coordinate.
    tBaseXYZPoint& operator+=(const tBaseXYZPoint& p) { x += p.x; y += p.y; z += p.z; return *this; }
    /// Subtracts p coordinate by coordinate.
    tBaseXYZPoint& operator-=(const tBaseXYZPoint& p) { x -= p.x; y -= p.y; z -= p.z; return *this; }

    /// sqrt(((x - p.x)^2 + (y - p.y)^2) + (z - p.z)^2), in T's precision.
    T Distance(const tBaseXYZPoint& p) const;
    /// sqrt((x^2 + y^2) + z^2).
    T Range() const;
    /// atan2(y, x), in [-pi, pi].
    T HorizontalAngle() const;
    /// atan2(sqrt(x^2 + y^2), z), in [0, pi]: the angle from +Z.
    T VerticalAngle() const;

    /// Coordinate i (0: x, 1: y, otherwise z); i must be 0, 1 or 2.
    T operator[](std::size_t i) const { return i == 0 ? x : (i == 1 ? y : z); }
    /// Coordinate i, writable (0: x, 1: y, otherwise z).
    T& operator[](std::size_t i) { return i == 0 ? x : (i == 1 ? y : z); }

    /// x, y, z as an array of three T.
    T* ToArray() { return &x; }
    /// x, y, z as a read-only array of three T.
    const T* ToArray() const { return &x; }
};

/// Polar point: range, horizontal angle from +X towards +Y, vertical angle
/// from +Z, radians. Provided for float and double.
template <typename T>
struct LXBASE_API tBasePolarPoint {
    T range;            ///< Distance from the origin.
    T horizontalAngle;  ///< Angle from +X towards +Y, radians.
    T verticalAngle;    ///< Angle from +Z, radians.

    /// Range and both angles zero.
    tBasePolarPoint() : range(0), horizontalAngle(0), verticalAngle(0) {}
    /// Range r, horizontal angle h, vertical angle v.
    tBasePolarPoint(T r, T h, T v) : range(r), horizontalAngle(h), verticalAngle(v) {}

    /// Cartesian to polar: range, vertical and horizontal angle computed in
    /// U's precision (the source point's Range(), VerticalAngle() and
    /// HorizontalAngle()), each rounded to T when stored.
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

using XYZd = tBaseXYZPoint<double>;      ///< Cartesian point of doubles.
using XYZf = tBaseXYZPoint<float>;       ///< Cartesian point of floats (the normal vector type).
using Polard = tBasePolarPoint<double>;  ///< Polar point of doubles.
using Polarf = tBasePolarPoint<float>;   ///< Polar point of floats.

/// Plain record of three doubles, laid out like tBaseXYZPoint<double>.
struct LXBASE_API XYZ {
    double x = 0;  ///< X coordinate.
    double y = 0;  ///< Y coordinate.
    double z = 0;  ///< Z coordinate.

    /// (0, 0, 0).
    XYZ() = default;
    /// (x_, y_, z_).
    XYZ(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}
};

}  // namespace lxbase

#endif
