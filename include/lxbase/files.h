#ifndef LXBASE_FILES_H
#define LXBASE_FILES_H

#include "lxbase/export.h"

#endif
