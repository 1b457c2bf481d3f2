#ifndef LXBASE_RECORDS_H
#define LXBASE_RECORDS_H

#include "lxbase/export.h"

#endif
