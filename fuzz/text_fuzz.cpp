// Both UTF conversions: a successful conversion must round-trip, a failed one
// must throw one of utf8-cpp's exception types and nothing else.
#include <cstdint>
#include <cstdlib>
#include <string>

#include <utf8.h>

#include "lxbase/text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string narrow(reinterpret_cast<const char*>(bytes), size);
    try {
        const std::u16string wide = lxbase::Decode_UTF8(narrow);
        if (lxbase::Encode_UTF8(wide) != narrow) std::abort();
        if (lxbase::ConvertString(narrow) != wide) std::abort();
    } catch (const utf8::exception&) {
    }

    std::u16string units(size / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    try {
        const std::string encoded = lxbase::Encode_UTF8(units);
        if (lxbase::Decode_UTF8(encoded) != units) std::abort();
        if (lxbase::ConvertString(units) != encoded) std::abort();
    } catch (const utf8::exception&) {
    }
    return 0;
}
