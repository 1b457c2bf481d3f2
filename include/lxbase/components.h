#ifndef LXBASE_COMPONENTS_H
#define LXBASE_COMPONENTS_H

#include "lxbase/export.h"

#endif
