#ifndef LXBASE_LXBASE_H
#define LXBASE_LXBASE_H

/// The base library of the point-cloud system: byte streams over memory and
/// files, versioned block headers, points and frames, colours and the packed
/// point attribute record, identifiers, dates, text conversion and component
/// names. Everything is declared by <lxbase/lxbase.h>.
namespace lxbase {}

// Everything of namespace lxbase.
#include "lxbase/exceptions.h"
#include "lxbase/streams.h"
#include "lxbase/header.h"
#include "lxbase/files.h"
#include "lxbase/points.h"
#include "lxbase/zorder.h"
#include "lxbase/records.h"
#include "lxbase/colours.h"
#include "lxbase/hnormal_rgb.h"
#include "lxbase/text.h"
#include "lxbase/uuid.h"
#include "lxbase/date.h"
#include "lxbase/components.h"
#include "lxbase/version.h"

#endif
