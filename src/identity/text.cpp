#include <algorithm>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "utf8_api.h"

#include "lxbase/text.h"

// Both conversions copy runs of ASCII themselves, a block at a time where the
// run is long enough, and hand every other character to utf8-cpp: each
// UTF-8 sequence to utf8::next, each UTF-16 code point (one unit, or a lead
// surrogate with the unit after it) to utf8::utf16to8. These are the steps
// that utf8-cpp's whole-text conversions take, at the same positions and
// with the same end of text, so every result and every exception (its type
// and the value it carries) is theirs. An ASCII byte or unit is always a
// character of its own, whatever stands around it.

namespace lxbase {

namespace {

// UTF-8 to UTF-16: 16 ASCII bytes at a time, widened in place.
// Returns how many leading bytes of [in, end) are ASCII, having written them.
std::size_t WidenAscii(const unsigned char* in, const unsigned char* end, char16_t* out) {
    const unsigned char* p = in;
#ifdef __SSE2__
    const __m128i zero = _mm_setzero_si128();
    while (end - p >= 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        if (_mm_movemask_epi8(bytes) != 0) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(bytes, zero));
        p += 16;
        out += 16;
    }
#endif
    while (p != end && *p < 0x80) *out++ = *p++;
    return static_cast<std::size_t>(p - in);
}

// UTF-16 to UTF-8: 8 ASCII units at a time, narrowed in place.
// Returns how many leading units of [in, end) are ASCII, having written them.
std::size_t NarrowAscii(const char16_t* in, const char16_t* end, char* out) {
    const char16_t* p = in;
#ifdef __SSE2__
    const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    while (end - p >= 8) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(units, high), zero)) != 0xFFFF) break;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(units, units));
        p += 8;
        out += 8;
    }
#endif
    while (p != end && *p < 0x80) *out++ = static_cast<char>(*p++);
    return static_cast<std::size_t>(p - in);
}

}  // namespace

std::string Encode_UTF8(const std::u16string& text) {
    const char16_t* in = text.data();
    const char16_t* const end = in + text.size();
    // One byte a unit is exact for ASCII text; a code point takes at most 3
    // bytes a unit (a surrogate pair gives 4 bytes for 2 units).
    std::string result(text.size(), '\0');
    std::size_t written = 0;
    while (in != end) {
        if (result.size() - written < 4) result.resize(std::max(written + 4, result.size() + result.size() / 2));
        char* out = &result[0] + written;
        if (*in < 0x80) {
            const std::size_t room = result.size() - written;
            const std::size_t ascii = NarrowAscii(in, in + std::min(room, static_cast<std::size_t>(end - in)), out);
            in += ascii;
            written += ascii;
            continue;
        }
        const char16_t* const next = (in[0] >= 0xD800 && in[0] <= 0xDBFF && end - in >= 2) ? in + 2 : in + 1;
        written = static_cast<std::size_t>(utf8::utf16to8(in, next, out) - result.data());
        in = next;
    }
    result.resize(written);
    return result;
}

std::u16string Decode_UTF8(const std::string& text) {
    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    const auto* const end = in + text.size();
    // Never more units than bytes: a sequence of k bytes gives at most k
    // units.
    std::u16string result(text.size(), u'\0');
    char16_t* out = &result[0];
    while (in != end) {
        if (*in < 0x80) {
            const std::size_t ascii = WidenAscii(in, end, out);
            in += ascii;
            out += ascii;
            continue;
        }
        const std::uint32_t cp = utf8::next(in, end);
        if (cp > 0xFFFF) {
            *out++ = static_cast<char16_t>((cp >> 10) + 0xD7C0);
            *out++ = static_cast<char16_t>((cp & 0x3FF) + 0xDC00);
        } else {
            *out++ = static_cast<char16_t>(cp);
        }
    }
    result.resize(static_cast<std::size_t>(out - result.data()));
    return result;
}

std::string ConvertString(const std::u16string& text) { return Encode_UTF8(text); }
std::u16string ConvertString(const std::string& text) { return Decode_UTF8(text); }

}  // namespace lxbase
