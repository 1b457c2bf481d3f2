#ifndef LXBASE_DATE_H
#define LXBASE_DATE_H

#include "lxbase/export.h"

#endif
