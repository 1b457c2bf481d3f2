#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utf8.h>

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

}  // namespace
