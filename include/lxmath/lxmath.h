#ifndef LXMATH_LXMATH_H
#define LXMATH_LXMATH_H

// Everything of namespace lxmath.
#include "lxmath/matrix.h"
#include "lxmath/frame.h"

#endif
