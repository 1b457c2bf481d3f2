#ifndef LXBASE_SRC_UTF8_API_H
#define LXBASE_SRC_UTF8_API_H

// utf8-cpp's exceptions leave the library and must be caught by type in client
// code. The library is compiled with hidden visibility, which would make their
// type information private to liblxbase.so and defeat such catches, so the
// header is included with default visibility.
#pragma GCC visibility push(default)
#include <utf8.h>
#pragma GCC visibility pop

#endif
