// Both UTF conversions against utf8-cpp's own conversion in one pass over
// the whole input, which works a character at a time: the same result, or an
// exception of the same type carrying the same value. A successful
// conversion must also round-trip.
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>

#include <utf8.h>

#include "lxbase/text.h"

namespace {

// The outcome of a conversion: its result, or the exception's type and value.
struct Outcome {
    int kind = 0;  // 0 result, 1 invalid_utf8, 2 invalid_utf16, 3 invalid_code_point, 4 not_enough_room
    std::uint32_t value = 0;

    bool operator!=(const Outcome& o) const { return kind != o.kind || value != o.value; }
};

template <typename Out, typename Convert>
Outcome Run(Convert convert, Out& out) {
    Outcome outcome;
    try {
        out = convert();
    } catch (const utf8::invalid_utf8& e) {
        outcome = {1, e.utf8_octet()};
    } catch (const utf8::invalid_utf16& e) {
        outcome = {2, e.utf16_word()};
    } catch (const utf8::invalid_code_point& e) {
        outcome = {3, e.code_point()};
    } catch (const utf8::not_enough_room&) {
        outcome = {4, 0};
    }
    return outcome;
}

// Converts input with the library's conversion and with utf8-cpp's one-pass
// conversion; aborts unless both give the same outcome and result. Returns
// whether the conversion succeeded, with its result in out.
template <typename Out, typename In, typename Ours, typename OnePass>
bool SameAsOnePass(const In& input, Ours ours, OnePass onePass, Out& out) {
    Out reference;
    const Outcome outcome = Run([&] { return ours(input); }, out);
    const Outcome expected = Run(
        [&] {
            Out whole;
            onePass(input.begin(), input.end(), std::back_inserter(whole));
            return whole;
        },
        reference);
    if (outcome != expected || (outcome.kind == 0 && out != reference)) std::abort();
    return outcome.kind == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using Narrow = std::string::const_iterator;
    using Wide = std::u16string::const_iterator;
    const std::string narrow(reinterpret_cast<const char*>(bytes), size);
    std::u16string wide;
    if (SameAsOnePass(narrow, lxbase::Decode_UTF8, utf8::utf8to16<std::back_insert_iterator<std::u16string>, Narrow>,
                      wide) &&
        (lxbase::Encode_UTF8(wide) != narrow || lxbase::ConvertString(narrow) != wide))
        std::abort();

    std::u16string units(size / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    std::string encoded;
    if (SameAsOnePass(units, lxbase::Encode_UTF8, utf8::utf16to8<Wide, std::back_insert_iterator<std::string>>,
                      encoded) &&
        (lxbase::Decode_UTF8(encoded) != units || lxbase::ConvertString(units) != encoded))
        std::abort();
    return 0;
}
