#include <iterator>

#include "utf8_api.h"

#include "lxbase/text.h"

namespace lxbase {

std::string Encode_UTF8(const std::u16string& text) {
    std::string result;
    utf8::utf16to8(text.begin(), text.end(), std::back_inserter(result));
    return result;
}

std::u16string Decode_UTF8(const std::string& text) {
    std::u16string result;
    utf8::utf8to16(text.begin(), text.end(), std::back_inserter(result));
    return result;
}

std::string ConvertString(const std::u16string& text) { return Encode_UTF8(text); }
std::u16string ConvertString(const std::string& text) { return Decode_UTF8(text); }

}  // namespace lxbase
