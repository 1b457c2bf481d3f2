// GCC 12 reports a false "may be used uninitialized" inside <regex> when
// optimising with sanitizers; the reference search below needs <regex>.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <regex>
#include <sstream>
#include <string>

#include "lxbase/components.h"

namespace {

using lxbase::ComponentToString;
using lxbase::ComponentType;
using lxbase::StringToComponent;

const char* const kNames[] = {"UnkownComponent", "Distance", "VerticalAngle", "HorizontalAngle",
                              "Luminance8", "Luminance16", "RGB", "TiltComponent", "TimestampComponent",
                              "XYZComponent", "SphericalComponent", "LuminanceFloatComponent",
                              "RGBFloatComponent", "HPointComponent", "XYZCoord", "XYZRGB", "XYZLum",
                              "XYZNormal", "Classification", "Segmentation"};

// The rule step by step: exact name, else the regex search and a stream read
// of its digits; no number, or one out of the 32-bit range, is 0.
std::int32_t Reference(const std::string& text) {
    for (std::int32_t v = 0; v < 20; ++v) {
        if (text == kNames[v]) return v;
    }
    if (text == "LastComponent") return 37;
    static const std::regex pattern(".*\\[([0-9]+)\\].*");
    std::smatch match;
    if (!std::regex_search(text, match, pattern)) return 0;
    std::istringstream digits(match[1].str());
    std::int32_t value = 0;
    if (!(digits >> value)) return 0;
    return value;
}

TEST(Components, ValuesSurviveTheTripThroughText) {
    for (std::int32_t v = 0; v < 20; ++v) {
        EXPECT_EQ(ComponentToString(static_cast<ComponentType>(v)), kNames[v]);
        EXPECT_EQ(StringToComponent(kNames[v]), v);
    }
    EXPECT_EQ(ComponentToString(lxbase::LastComponent), "LastComponent");
    EXPECT_EQ(StringToComponent("LastComponent"), 37);
    for (std::int32_t v : {20, 25, 36, 38, 1000, 2147483647}) {
        const std::string text = ComponentToString(static_cast<ComponentType>(v));
        EXPECT_EQ(text, "UnkownComponent[" + std::to_string(v) + "]");
        EXPECT_EQ(StringToComponent(text), v);
    }
    EXPECT_EQ(ComponentToString(static_cast<ComponentType>(-1)), "UnkownComponent[-1]");
    EXPECT_EQ(ComponentToString(static_cast<ComponentType>(INT32_MIN)), "UnkownComponent[-2147483648]");
}

TEST(Components, TextRules) {
    // The correct spelling is the same constant; the name text keeps the old one.
    static_assert(lxbase::UnknownComponent == lxbase::UnkownComponent && lxbase::UnknownComponent == 0);
    EXPECT_EQ(lxbase::ComponentToString(lxbase::UnknownComponent), "UnkownComponent");
    EXPECT_EQ(StringToComponent("UnknownComponent"), lxbase::UnknownComponent);
    EXPECT_EQ(StringToComponent("distance"), lxbase::UnkownComponent);
    EXPECT_EQ(StringToComponent("Distance "), lxbase::UnkownComponent);
    EXPECT_EQ(StringToComponent("Distance[4]"), 4);
    EXPECT_EQ(StringToComponent("A[1]B[2]"), 2);
    EXPECT_EQ(StringToComponent("[25]"), 25);
    EXPECT_EQ(StringToComponent("Foo[25]bar"), 25);
    EXPECT_EQ(StringToComponent("[[007]]"), 7);
    EXPECT_EQ(StringToComponent("UnkownComponent[-1]"), 0);
    EXPECT_EQ(StringToComponent(""), 0);
    EXPECT_EQ(StringToComponent("Foo"), 0);
    EXPECT_EQ(StringToComponent("[2147483647]"), 2147483647);
    EXPECT_EQ(StringToComponent("[2147483648]"), 0);
    EXPECT_EQ(StringToComponent("[000000000000002147483647]"), 2147483647);
    EXPECT_EQ(StringToComponent("[99999999999999999999]"), 0);
    // The first line with a number decides, even when its number is too large.
    EXPECT_EQ(StringToComponent("x\n[3]y[4]\r[5]"), 4);
    EXPECT_EQ(StringToComponent("[99999999999]\n[5]"), 0);
    EXPECT_EQ(StringToComponent("[3\n]"), 0);
}

TEST(Components, ScannerMatchesTheRegexSearch) {
    // Pieces that make bracketed numbers, near misses and every kind of line
    // break likely in short random texts.
    const std::string pieces[] = {"[", "]", "7", "42", "[3]", "[05]", "[2147483648]", "\n", "\r",
                                  std::string(1, '\0'), "\t", "\x0b", "\x0c", "\x85", "\xE2\x80\xA8",
                                  "a", "Distance", "RGB", "-"};
    std::mt19937 random(20240115);
    std::uniform_int_distribution<std::size_t> pick(0, sizeof pieces / sizeof pieces[0] - 1), count(0, 10);
    for (int i = 0; i < 50000; ++i) {
        std::string text;
        for (std::size_t n = count(random); n > 0; --n) text += pieces[pick(random)];
        ASSERT_EQ(StringToComponent(text), Reference(text)) << testing::PrintToString(text);
    }
}

TEST(Components, LongTextDoesNotExhaustTheStack) {
    std::string text(8 << 20, 'x');
    EXPECT_EQ(StringToComponent(text), 0);
    text += "[42]";
    EXPECT_EQ(StringToComponent(text), 42);
    text.replace(1000, 4, "[7]\n");
    EXPECT_EQ(StringToComponent(text), 7);
}

}  // namespace
