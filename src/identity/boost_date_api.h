#ifndef LXBASE_SRC_BOOST_DATE_API_H
#define LXBASE_SRC_BOOST_DATE_API_H

// Boost.DateTime's exceptions leave Date's text constructor unwrapped, and
// clients catch them by type: boost::gregorian::bad_year, bad_month and
// bad_day_of_month (all std::out_of_range), boost::bad_lexical_cast from the
// parsers' number fields, each thrown inside boost::wrapexcept and so also a
// boost::exception. Boost declares these classes with default visibility
// itself (BOOST_SYMBOL_VISIBLE), so their type information is emitted with
// default visibility even in this library's hidden-visibility build, and the
// linker version script (cmake/lxbase.map) exports it under those names: the
// five classes and boost::wrapexcept of each of the four thrown ones. That is
// all that leaves of Boost: the date and parsing code instantiated from these
// headers is hidden, and so is the type information of exceptions that no
// operation of the library lets through (bad_weekday, bad_day_of_year, Boost's
// internal exception bases).
//
// No visibility pragma surrounds the includes: a pragma would also give its
// visibility to the C library functions that these headers declare, and the
// library could no longer call them.
#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/throw_exception.hpp>

#endif
