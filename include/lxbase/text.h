#ifndef LXBASE_TEXT_H
#define LXBASE_TEXT_H

#include <string>

#include "lxbase/export.h"

namespace lxbase {

// Narrow strings hold UTF-8, wide strings UTF-16 code units. The conversions
// are strict: the first fault throws utf8-cpp's own exception
// (utf8::invalid_utf16, utf8::invalid_utf8, utf8::invalid_code_point,
// utf8::not_enough_room), which passes through unchanged.

/// UTF-16 to UTF-8. An unpaired surrogate throws utf8::invalid_utf16.
LXBASE_API std::string Encode_UTF8(const std::u16string& text);
/// UTF-8 to UTF-16. A malformed sequence throws utf8::invalid_utf8, a
/// surrogate or out-of-range code point utf8::invalid_code_point, a sequence
/// cut off at the end utf8::not_enough_room.
LXBASE_API std::u16string Decode_UTF8(const std::string& text);
/// Exactly Encode_UTF8.
LXBASE_API std::string ConvertString(const std::u16string& text);
/// Exactly Decode_UTF8.
LXBASE_API std::u16string ConvertString(const std::string& text);

}  // namespace lxbase

#endif
