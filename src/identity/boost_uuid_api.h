#ifndef LXBASE_SRC_BOOST_UUID_API_H
#define LXBASE_SRC_BOOST_UUID_API_H

// Boost.Uuid's exceptions (the invalid-string runtime_error inside
// boost::wrapexcept, boost::uuids::entropy_error) leave the library and must be
// caught by type in client code, so their headers are seen with default
// visibility although the library itself is compiled with hidden visibility.
#pragma GCC visibility push(default)
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#pragma GCC visibility pop

#endif
