#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <utf8.h>
#include <vector>

#include "lxbase/text.h"

namespace {

using lxbase::ConvertString;

std::string Bytes(std::initializer_list<unsigned> values) {
    std::string text;
    for (unsigned v : values) text += static_cast<char>(v);
    return text;
}

std::string Convert(const std::u16string& s, bool overload) {
    return overload ? ConvertString(s) : lxbase::Encode_UTF8(s);
}
std::u16string Convert(const std::string& s, bool overload) {
    return overload ? ConvertString(s) : lxbase::Decode_UTF8(s);
}

// The exception E that converting `input` raises, through the named function
// or the ConvertString overload; anything else fails the test.
template <typename E, typename In>
E Fault(const In& input, bool overload) {
    try {
        Convert(input, overload);
    } catch (const E& e) {
        return e;
    }
    throw std::logic_error("conversion succeeded where it should fail");
}

TEST(Text, ConvertsValidTextBothWays) {
    const std::u16string wide = {u'A', 0x0000, 0x00E9, 0x07FF, 0x0800, 0xFFFE, 0xFFFF, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF};
    const std::string narrow = Bytes({0x41, 0x00, 0xC3, 0xA9, 0xDF, 0xBF, 0xE0, 0xA0, 0x80, 0xEF, 0xBF, 0xBE, 0xEF, 0xBF,
                                      0xBF, 0xF0, 0x9F, 0x98, 0x80, 0xF4, 0x8F, 0xBF, 0xBF});
    for (bool overload : {false, true}) {
        EXPECT_EQ(Convert(u"", overload), "");
        EXPECT_EQ(Convert("", overload), u"");
        EXPECT_EQ(Convert(wide, overload), narrow);
        EXPECT_EQ(Convert(narrow, overload), wide);
    }
}

TEST(Text, WideFaultsCarryTheOffendingUnit) {
    const struct {
        std::u16string input;
        std::uint16_t unit;
    } rows[] = {{{u'a', 0xD83D}, 0xD83D},           // ends right after a lead
                {{0xD83D, 0x0041}, 0x0041},         // lead, then no trail: the unit after it
                {{0xD83D, 0xD83D, 0xDE00}, 0xD83D},
                {{u'x', 0xDE00}, 0xDE00}};          // trail without lead
    for (bool overload : {false, true}) {
        for (const auto& row : rows) {
            const auto fault = Fault<utf8::invalid_utf16>(row.input, overload);
            EXPECT_EQ(fault.utf16_word(), row.unit);
            EXPECT_STREQ(fault.what(), "Invalid UTF-16");
        }
    }
}

TEST(Text, NarrowFaultsCarryTheirValue) {
    const struct {
        std::string input;
        std::uint8_t octet;
    } invalid[] = {{Bytes({0x41, 0x80}), 0x80}, {Bytes({0xBF}), 0xBF},  // cannot begin a sequence
                   {Bytes({0xF8, 0x80, 0x80, 0x80, 0x80}), 0xF8}, {Bytes({0xFF}), 0xFF},
                   {Bytes({0xC3, 0x41}), 0xC3}, {Bytes({0xE2, 0x82, 0x41}), 0xE2},  // missing continuation
                   {Bytes({0xC0, 0x80}), 0xC0}, {Bytes({0xE0, 0x9F, 0xBF}), 0xE0},  // overlong
                   {Bytes({0xF0, 0x8F, 0xBF, 0xBF}), 0xF0}};
    // Surrogates and values from 0x110000 on carry 0, not the decoded value.
    const std::string badCodePoints[] = {Bytes({0xED, 0xA0, 0x80}), Bytes({0xED, 0xBF, 0xBF}),
                                         Bytes({0xF4, 0x90, 0x80, 0x80})};
    const std::string cut[] = {Bytes({0xC3}), Bytes({0x41, 0xE2, 0x82}), Bytes({0xF0, 0x9F, 0x98})};
    for (bool overload : {false, true}) {
        for (const auto& row : invalid) {
            const auto fault = Fault<utf8::invalid_utf8>(row.input, overload);
            EXPECT_EQ(fault.utf8_octet(), row.octet);
            EXPECT_STREQ(fault.what(), "Invalid UTF-8");
        }
        for (const std::string& input : badCodePoints) {
            const auto fault = Fault<utf8::invalid_code_point>(input, overload);
            EXPECT_EQ(fault.code_point(), 0u);
            EXPECT_STREQ(fault.what(), "Invalid code point");
        }
        for (const std::string& input : cut) {
            EXPECT_STREQ(Fault<utf8::not_enough_room>(input, overload).what(), "Not enough space");
        }
    }
    EXPECT_THROW(lxbase::Decode_UTF8(Bytes({0xC3})), utf8::exception);
    EXPECT_THROW(lxbase::Encode_UTF8(std::u16string(1, char16_t(0xDC00))), std::exception);
}

// What converting `input` gives, or the exception it raises, as one text
// that names the type, the carried value and the message.
template <typename Out, typename In, typename Convert>
std::string Outcome(const In& input, Convert convert) {
    try {
        const Out out = convert(input);
        std::string shown = "ok:";
        for (auto c : out) shown += std::to_string(static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<decltype(c)>>(c))) + ",";
        return shown;
    } catch (const utf8::invalid_utf8& e) {
        return "invalid_utf8 " + std::to_string(e.utf8_octet()) + " " + e.what();
    } catch (const utf8::invalid_utf16& e) {
        return "invalid_utf16 " + std::to_string(e.utf16_word()) + " " + e.what();
    } catch (const utf8::invalid_code_point& e) {
        return "invalid_code_point " + std::to_string(e.code_point()) + " " + e.what();
    } catch (const utf8::not_enough_room& e) {
        return std::string("not_enough_room ") + e.what();
    }
}

// The same conversions as utf8-cpp makes them in one pass over the text.
std::u16string ReferenceDecode(const std::string& text) {
    std::u16string out;
    utf8::utf8to16(text.begin(), text.end(), std::back_inserter(out));
    return out;
}
std::string ReferenceEncode(const std::u16string& text) {
    std::string out;
    utf8::utf16to8(text.begin(), text.end(), std::back_inserter(out));
    return out;
}

void ExpectSameAsOnePass(const std::string& text) {
    ASSERT_EQ(Outcome<std::u16string>(text, lxbase::Decode_UTF8), Outcome<std::u16string>(text, ReferenceDecode))
        << "text of " << text.size() << " bytes";
}
void ExpectSameAsOnePass(const std::u16string& text) {
    ASSERT_EQ(Outcome<std::string>(text, lxbase::Encode_UTF8), Outcome<std::string>(text, ReferenceEncode))
        << "text of " << text.size() << " units";
}

TEST(Text, AsciiRunsAroundEveryPieceAtEveryOffset) {
    // Each piece, valid or faulty, at every offset inside and across the
    // blocks that ASCII is copied in, with ASCII before and after it.
    const std::string narrowPieces[] = {
        Bytes({0xC3, 0xA9}), Bytes({0xE2, 0x82, 0xAC}), Bytes({0xF0, 0x9F, 0x98, 0x80}),  // valid
        Bytes({0xC3}), Bytes({0xE2, 0x82}), Bytes({0xF0, 0x9F, 0x98}),                      // cut short
        Bytes({0x80}), Bytes({0xFF}), Bytes({0xC0, 0x80}), Bytes({0xED, 0xA0, 0x80}),       // faulty
        Bytes({0xF4, 0x90, 0x80, 0x80}), Bytes({0xC3, 0xA9, 0xE2})};
    const std::u16string widePieces[] = {
        {0x00E9}, {0x20AC, 0x4E2D}, {0xD83D, 0xDE00}, {0xD83D}, {0xDE00}, {0xDE00, 0xD83D}, {0xD83D, 0xD83D, 0xDE00}};
    for (std::size_t before = 0; before <= 40; ++before) {
        for (std::size_t after : {std::size_t{0}, std::size_t{1}, std::size_t{17}}) {
            for (const std::string& piece : narrowPieces) {
                ExpectSameAsOnePass(std::string(before, 'a') + piece + std::string(after, 'b'));
                ExpectSameAsOnePass(std::string(before, 'a') + piece + piece + std::string(after, 'b'));
            }
            for (const std::u16string& piece : widePieces) {
                ExpectSameAsOnePass(std::u16string(before, u'a') + piece + std::u16string(after, u'b'));
                ExpectSameAsOnePass(std::u16string(before, u'a') + piece + u"x" + piece + std::u16string(after, u'b'));
            }
        }
    }
}

TEST(Text, RandomMixedTextAsInOnePass) {
    // Random mixtures of ASCII runs, multi-byte sequences and the odd fault,
    // long enough to cross many blocks; valid texts round-trip.
    std::mt19937_64 random(4);
    for (int round = 0; round < 400; ++round) {
        std::string narrow;
        std::u16string wide;
        const bool faults = round % 4 == 0;
        while (narrow.size() < 300) {
            const unsigned kind = static_cast<unsigned>(random() % 10);
            if (kind < 5) {
                narrow.append(random() % 40, static_cast<char>('0' + random() % 64));
            } else {
                const char32_t cp = kind == 5 ? 0x80 + random() % 0x780
                                  : kind == 6 ? 0x800 + random() % 0xD000
                                              : 0x10000 + random() % 0xFFFFF;
                utf8::append(static_cast<std::uint32_t>(cp), std::back_inserter(narrow));
            }
            if (faults && random() % 50 == 0) narrow += static_cast<char>(0x80 + random() % 0x80);
        }
        ExpectSameAsOnePass(narrow);
        if (faults) continue;
        wide = lxbase::Decode_UTF8(narrow);
        ExpectSameAsOnePass(wide);
        EXPECT_EQ(lxbase::Encode_UTF8(wide), narrow);
        wide.insert(wide.begin() + static_cast<std::ptrdiff_t>(random() % wide.size()), char16_t(0xD800 + random() % 0x800));
        ExpectSameAsOnePass(wide);
    }
}

}  // namespace
