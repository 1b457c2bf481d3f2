#ifndef LXBASE_SRC_UTF8_API_H
#define LXBASE_SRC_UTF8_API_H

#include "lxbase/export.h"

// utf8-cpp's exceptions leave the library unwrapped, and clients catch them by
// type: as utf8::invalid_utf8, invalid_utf16, invalid_code_point,
// not_enough_room, or as their base utf8::exception. The library exports the
// type information of these five classes, so that a client's catch clause and
// the library's throw use one and the same type information object once the
// program is loaded: the match then holds by address, without relying on the
// C++ runtime falling back to comparing type names.
//
// The library is compiled with hidden visibility and utf8-cpp carries no
// visibility attributes, so the classes are declared here with default
// visibility before the header defines them; the definition keeps the
// attribute of this first declaration. The conversion templates that the
// library instantiates from the header stay hidden. The linker version script
// (cmake/lxbase.map) then exports exactly the type information of these
// classes and no other utf8-cpp name: not their vtables nor their inline
// members, which a client that throws or catches them compiles itself.
//
// This header must come before anything else that includes <utf8.h>: a class
// defined before its attributed declaration would stay hidden (the compilers
// warn that the attribute is ignored, an error in a -Werror build).
namespace utf8 {
class LXBASE_API exception;
class LXBASE_API invalid_code_point;
class LXBASE_API invalid_utf8;
class LXBASE_API invalid_utf16;
class LXBASE_API not_enough_room;
}  // namespace utf8

#include <utf8.h>

#endif
