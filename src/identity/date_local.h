#ifndef LXBASE_SRC_DATE_LOCAL_H
#define LXBASE_SRC_DATE_LOCAL_H

#include <string>

#include "boost_date_api.h"

namespace lxbase {

// The wall-clock fields of a real (not special) time as the short date of the
// environment's LC_TIME locale, one blank, and the 24-hour time hh:mm:ss.
// No zone conversion takes place.
std::u16string FormatLocalDateTime(const boost::posix_time::ptime& time);

}  // namespace lxbase

#endif
