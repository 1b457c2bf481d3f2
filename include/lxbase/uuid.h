#ifndef LXBASE_UUID_H
#define LXBASE_UUID_H

#include "lxbase/export.h"

#endif
