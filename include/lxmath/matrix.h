#ifndef LXMATH_MATRIX_H
#define LXMATH_MATRIX_H

#include "lxbase/export.h"

#endif
