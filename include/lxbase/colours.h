#ifndef LXBASE_COLOURS_H
#define LXBASE_COLOURS_H

#include "lxbase/export.h"

#endif
