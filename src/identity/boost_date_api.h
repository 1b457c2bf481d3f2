#ifndef LXBASE_SRC_BOOST_DATE_API_H
#define LXBASE_SRC_BOOST_DATE_API_H

// Boost.DateTime's exceptions (bad_year, bad_month, bad_day_of_month, the
// bad_lexical_cast of its parsers) leave the library and must be caught by type
// in client code, so their headers are seen with default visibility although
// the library itself is compiled with hidden visibility.
#pragma GCC visibility push(default)
#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/throw_exception.hpp>
#pragma GCC visibility pop

#endif
