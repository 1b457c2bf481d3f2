#ifndef LXBASE_RECORDS_H
#define LXBASE_RECORDS_H

#include "lxbase/export.h"
#include "lxbase/points.h"

namespace lxbase {

/// Plain-data orientation of a local coordinate system: the directions of its
/// three axes in parent coordinates, i.e. the rotation matrix column by column.
/// Nothing requires or enforces unit length or orthogonality.
struct LXBASE_API Orientation {
    XYZ xAxis;  ///< Direction of the local X axis.
    XYZ yAxis;  ///< Direction of the local Y axis.
    XYZ zAxis;  ///< Direction of the local Z axis.

    /// The identity axes.
    Orientation() : xAxis{1, 0, 0}, yAxis{0, 1, 0}, zAxis{0, 0, 1} {}
    /// The axes `x`, `y` and `z` as given.
    Orientation(const XYZ& x, const XYZ& y, const XYZ& z) : xAxis(x), yAxis(y), zAxis(z) {}
};

/// Registration (pose) of a scan in its parent system: axes and the position
/// of the local origin.
struct LXBASE_API RegistrationInformation {
    Orientation orientation;  ///< The local axes in parent coordinates.
    XYZ translation;          ///< The local origin in parent coordinates.

    /// Identity orientation, zero translation.
    RegistrationInformation() = default;
    /// Orientation `o` and translation `t` as given.
    RegistrationInformation(const Orientation& o, const XYZ& t) : orientation(o), translation(t) {}
};

}  // namespace lxbase

#endif
