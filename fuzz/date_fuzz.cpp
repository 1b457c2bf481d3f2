// Date text in both character types. Reading either gives a date or throws one
// standard exception; a date read back from its own ISO text
// (which drops the fraction) is the same instant to the second.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include <utf8.h>

#include "lxbase/date.h"
#include "lxbase/text.h"

namespace {

void Check(const std::u16string& text) {
    try {
        const lxbase::Date date(text);
        const std::u16string iso = date.ToISOString();
        const lxbase::Date again(iso);
        if (again.ToISOString() != iso) std::abort();
        date.ToLocalString();
    } catch (const std::exception&) {
        // Boost's bad_year, bad_month, bad_day_of_month (std::out_of_range),
        // bad_lexical_cast, utf8-cpp's exceptions: all standard exceptions.
        // Anything else would escape and end the run.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size > 256) return 0;  // dates are short; long inputs only slow the parsers
    const std::string narrow(reinterpret_cast<const char*>(bytes), size);
    try {
        Check(lxbase::ConvertString(narrow));
    } catch (const utf8::exception&) {
    }
    std::u16string wide(size / 2, u'\0');
    for (std::size_t i = 0; i < wide.size(); ++i)
        wide[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    Check(wide);
    return 0;
}
