#ifndef LXMATH_FRAME_H
#define LXMATH_FRAME_H

#include "lxbase/export.h"

#endif
