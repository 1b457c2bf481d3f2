#ifndef LXMATH_LXMATH_H
#define LXMATH_LXMATH_H

/// Coordinate frames and the vector and matrix types they use. Everything is
/// declared by <lxmath/lxmath.h>.
namespace lxmath {}

// Everything of namespace lxmath.
#include "lxmath/matrix.h"
#include "lxmath/frame.h"

#endif
