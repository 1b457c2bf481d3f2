#ifndef LXBASE_SRC_BOOST_UUID_API_H
#define LXBASE_SRC_BOOST_UUID_API_H

// Boost.Uuid's exceptions leave UUID's constructors and Generate unwrapped,
// and clients catch them by type: the string parser throws a
// std::runtime_error inside boost::wrapexcept (so also a boost::exception),
// the random generator boost::uuids::entropy_error, also wrapped. Boost
// declares these classes with default visibility itself (BOOST_SYMBOL_VISIBLE),
// and the linker version script (cmake/lxbase.map) exports their type
// information: boost::uuids::entropy_error, boost::exception and
// boost::wrapexcept of std::runtime_error and of entropy_error
// (std::runtime_error's own comes from the C++ runtime). The generator and
// parser code instantiated from these headers stays hidden. No visibility
// pragma surrounds the includes, for the reason given in boost_date_api.h.
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>

#endif
