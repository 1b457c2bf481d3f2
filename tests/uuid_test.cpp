#include <gtest/gtest.h>

#include <boost/exception/exception.hpp>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "lxbase/uuid.h"

namespace {

using lxbase::UUID;

const std::string kText = "0f8fad5b-d9cb-469f-a165-70867728950e";
const unsigned char kBytes[16] = {0x0F, 0x8F, 0xAD, 0x5B, 0xD9, 0xCB, 0x46, 0x9F,
                                  0xA1, 0x65, 0x70, 0x86, 0x77, 0x28, 0x95, 0x0E};

std::u16string Widen(const std::string& ascii) { return std::u16string(ascii.begin(), ascii.end()); }
// No pointer turns into an identifier by accident.
static_assert(!std::is_convertible<const void*, UUID>::value, "UUID(const void*) is explicit");
static_assert(!std::is_convertible<const double*, UUID>::value, "UUID(const void*) is explicit");

TEST(Uuid, AcceptedForms) {
    const UUID expected = UUID::FromBytes(kBytes);
    for (const std::string& text : {kText, std::string("0F8FAD5BD9CB469FA16570867728950E"), "{" + kText + "}",
                                   std::string("{0f8FaD5bd9cb469fa16570867728950E}")}) {
        EXPECT_TRUE(UUID::isValid(text) && UUID::isValid(Widen(text))) << text;
        EXPECT_EQ(UUID(text), expected) << text;
        EXPECT_EQ(UUID(Widen(text)), expected) << text;
        EXPECT_EQ(UUID(text.c_str()), expected) << text;
        EXPECT_EQ(UUID(Widen(text).c_str()), expected) << text;
    }
    EXPECT_EQ(UUID("{0F8FAD5B-D9CB-469F-A165-70867728950E}").ToString(), kText);
    EXPECT_EQ(expected.ToWString(), Widen(kText));
    EXPECT_EQ(static_cast<std::string>(expected), kText);
    EXPECT_EQ(static_cast<std::u16string>(expected), Widen(kText));
    EXPECT_EQ(expected.ToBytes(), std::vector<unsigned char>(kBytes, kBytes + 16));
    // Empty (and null) text is the zero identifier, but not valid text.
    for (const UUID& zero : {UUID(std::string()), UUID(std::u16string()), UUID(""), UUID(u""),
                             UUID(static_cast<const char*>(nullptr)), UUID(static_cast<const char16_t*>(nullptr)),
                             UUID(), UUID::Generate_Zeros()}) {
        EXPECT_TRUE(zero.IsZero());
        EXPECT_EQ(zero.ToString(), "00000000-0000-0000-0000-000000000000");
    }
    EXPECT_FALSE(UUID::isValid(std::string()) || UUID::isValid(std::u16string()));
}

TEST(Uuid, RefusedFormsThrowBoostsInvalidString) {
    const std::string bad[] = {"0f8fad5b-d9cb469f-a165-70867728950e", "0f8fad5bd9cb-469f-a165-70867728950e",
                               "{" + kText, kText + "}", "(" + kText + ")", "[" + kText + "]", " " + kText,
                               kText + " ", kText + "0", kText.substr(0, 35), kText.substr(0, 35) + "g",
                               "0f8fad5b--d9cb-469f-a165-70867728950e", "{}", "-", std::string(1, '\0'),
                               kText.substr(0, 35) + std::string(1, '\0'), kText.substr(0, 34) + "\xC3\xA9"};
    for (const std::string& text : bad) {
        EXPECT_FALSE(UUID::isValid(text) || UUID::isValid(Widen(text))) << text;
        try {
            UUID{text};
            ADD_FAILURE() << "accepted " << text;
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "invalid uuid string");
        }
        EXPECT_THROW(UUID{Widen(text)}, boost::exception) << text;
    }
    // 16-bit characters outside ASCII are never digits, dashes or braces, even
    // where their low byte, or their fullwidth form, is the right character.
    for (const std::u16string& text : {Widen(kText), Widen("{" + kText + "}")}) {
        for (std::size_t at = 0; at < text.size(); ++at) {
            for (int offset : {0x0100, 0xFF00, 0xFEE0}) {
                std::u16string changed = text;
                changed[at] = static_cast<char16_t>(text[at] + offset);
                EXPECT_FALSE(UUID::isValid(changed)) << int(changed[at]) << " at " << at;
                EXPECT_THROW(UUID{changed}, std::runtime_error);
            }
        }
    }
}

TEST(Uuid, PrintsAndOrdersBytes) {
    const unsigned char bytes[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                                     0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
    EXPECT_EQ(UUID::FromBytes(bytes).ToString(), "01234567-89ab-cdef-fedc-ba9876543210");
    unsigned char low[16] = {0x7F}, high[16] = {0x80};
    const UUID a = UUID::FromBytes(low), b = UUID::FromBytes(high);
    EXPECT_TRUE(a < b && b > a && !(b < a) && !(a > b) && a != b && !(a == b));
    UUID c;
    c = a;
    EXPECT_TRUE(c == a && !(c != a) && !(a < c) && !(a > c));
    low[15] = 1;  // a later byte decides only when the earlier ones agree
    high[0] = 0x7F;
    EXPECT_LT(UUID::FromBytes(high), UUID::FromBytes(low));
}

TEST(Uuid, GenerateMakesVersion4Rfc4122) {
    const UUID first = UUID::Generate();
    for (int i = 0; i < 200; ++i) {
        const UUID id = UUID::Generate();
        const std::string text = id.ToString();
        EXPECT_EQ(text[14], '4') << text;
        EXPECT_NE(std::string("89ab").find(text[19]), std::string::npos) << text;
        EXPECT_NE(id, first);
    }
}

}  // namespace
