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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string narrow(reinterpret_cast<const char*>(bytes), size);
    std::u16string wide;
    std::u16string reference;
    const Outcome decoded = Run([&] { return lxbase::Decode_UTF8(narrow); }, wide);
    const Outcome expected = Run(
        [&] {
            std::u16string out;
            utf8::utf8to16(narrow.begin(), narrow.end(), std::back_inserter(out));
            return out;
        },
        reference);
    if (decoded != expected || (decoded.kind == 0 && wide != reference)) std::abort();
    if (decoded.kind == 0 && (lxbase::Encode_UTF8(wide) != narrow || lxbase::ConvertString(narrow) != wide))
        std::abort();

    std::u16string units(size / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    std::string encoded;
    std::string encodedReference;
    const Outcome encodedOutcome = Run([&] { return lxbase::Encode_UTF8(units); }, encoded);
    const Outcome encodedExpected = Run(
        [&] {
            std::string out;
            utf8::utf16to8(units.begin(), units.end(), std::back_inserter(out));
            return out;
        },
        encodedReference);
    if (encodedOutcome != encodedExpected || (encodedOutcome.kind == 0 && encoded != encodedReference)) std::abort();
    if (encodedOutcome.kind == 0 &&
        (lxbase::Decode_UTF8(encoded) != units || lxbase::ConvertString(units) != encoded))
        std::abort();
    return 0;
}
