#ifndef LXBASE_HNORMAL_RGB_H
#define LXBASE_HNORMAL_RGB_H

#include "lxbase/export.h"

#endif
