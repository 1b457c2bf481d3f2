#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <ostream>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "bit_patterns.h"

#include "lxbase/colours.h"

using namespace lxbase;


namespace lxbase {
template <typename T>
void PrintTo(const t_RGBType<T>& c, std::ostream* os) {
    *os << '(' << +c.r << ", " << +c.g << ", " << +c.b << ')';
}
}  // namespace lxbase

namespace {

HSLType Hsl(std::uint16_t hue, std::uint16_t saturation, std::uint16_t lightness) {
    HSLType x;
    x.hue = hue;
    x.saturation = saturation;
    x.lightness = lightness;
    return x;
}

auto Fields(const HSLType& x) { return std::make_tuple(x.hue, x.saturation, x.lightness); }

// Channel rank as the frexp formulation defines it: the larger base-2
// exponent when the exponents differ, else that exponent plus the exponent of
// the mantissas' xor read as a float in [0.5, 1) minus 0.5.
int FrexpRank(unsigned char a, unsigned char b) {
    if (a == b) return INT_MIN;
    int ea = 0, eb = 0;
    const float ma = std::frexp(static_cast<float>(a), &ea);
    const float mb = std::frexp(static_cast<float>(b), &eb);
    if (ea != eb) return std::max(ea, eb);
    const float f = testbits::FloatFromBits((testbits::Bits(ma) ^ testbits::Bits(mb)) | 0x3F000000u);
    int e = 0;
    std::frexp(f - 0.5f, &e);
    return ea + e;
}

bool FrexpLess(const RGB8& a, const RGB8& b) {
    const unsigned char x[3] = {a.r, a.g, a.b}, y[3] = {b.r, b.g, b.b};
    int deciding = 0;
    for (int k = 1; k < 3; ++k) {
        if (FrexpRank(x[k], y[k]) > FrexpRank(x[deciding], y[deciding])) deciding = k;
    }
    return x[deciding] < y[deciding];
}

// The library's Z-order (highest differing bit) agrees with the frexp ranks.
::testing::AssertionResult ZOrderAgrees(const RGB8& a, const RGB8& b) {
    if ((a < b) == FrexpLess(a, b)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << +a.r << ',' << +a.g << ',' << +a.b << " vs " << +b.r << ',' << +b.g
                                         << ',' << +b.b << ": frexp ranks say " << FrexpLess(a, b);
}

}  // namespace

TEST(ColourRamp, ChannelValuesForEveryChannelType) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (float v : {0.0f, -5.0f, -inf, nan}) EXPECT_EQ(RGB8::GetColor(v), RGB8(0, 0, 255));
    for (float v : {1.0f, 7.0f, inf}) EXPECT_EQ(RGB8::GetColor(v), RGB8(255, 0, 0));
    EXPECT_EQ(RGB8::GetColor(0.5f), RGB8(127, 255, 0));
    EXPECT_EQ(RGB8::GetColor(0.25f), RGB8(0, 191, 63));
    EXPECT_EQ(RGB8::GetColor(0.75f), RGB8(255, 191, 0));
    EXPECT_EQ(RGB8::GetColor(1.0f / 3.0f), RGB8(0, 255, 0));
    EXPECT_EQ(RGB8::GetColor(0.99999994f), RGB8(255, 0, 0));  // last segment, not past the table
    EXPECT_EQ(RGBf::GetColor(0.5f), RGBf(127.5f, 255.0f, 0.0f));
    EXPECT_EQ(RGBf::GetColor(0.25f), RGBf(0.0f, 191.25f, 63.75f));
    EXPECT_EQ(RGBf::GetColor(nan), RGBf(0.0f, 0.0f, 255.0f));
    EXPECT_EQ(RGBc::GetColor(0.25f), RGBc(0, -65, 63));
    EXPECT_EQ(RGBc::GetColor(1.0f), RGBc(-1, 0, 0));

    // 8-bit channels hold the truncated float channel, char its bit pattern.
    for (int i = 0; i <= 3000; ++i) {
        const float v = static_cast<float>(i) / 3000.0f;
        const RGBf f = RGBf::GetColor(v);
        const RGB8 u = RGB8::GetColor(v);
        ASSERT_EQ(u, RGB8(static_cast<unsigned char>(f.r), static_cast<unsigned char>(f.g), static_cast<unsigned char>(f.b)));
        ASSERT_EQ(RGBc::GetColor(v), RGBc(static_cast<char>(u.r), static_cast<char>(u.g), static_cast<char>(u.b)));
    }

    RGB8 assigned(1, 2, 3);
    assigned = 0.5f;
    EXPECT_EQ(assigned, RGB8(127, 255, 0));
    EXPECT_EQ(RGB8(0.5f), RGB8(127, 255, 0));
    EXPECT_EQ(RGBf(0.25f), RGBf(0.0f, 191.25f, 63.75f));
}

TEST(RGBColour, ArithmeticWrapsOnEightBitChannels) {
    EXPECT_EQ(RGB8(250, 0, 0) += 10, RGB8(4, 10, 10));
    EXPECT_EQ(RGB8(0, 0, 0) -= 1, RGB8(255, 255, 255));
    EXPECT_EQ(RGBc(127, -128, 0) += 1, RGBc(-128, -127, 1));
    EXPECT_EQ(RGBc(-128, 127, 0) -= 1, RGBc(127, 126, -1));
    EXPECT_EQ(RGBc(100, 0, 0) += -56, RGBc(44, -56, -56));
    EXPECT_EQ(RGBf(250.0f, 0.5f, 0.0f) += 10.0f, RGBf(260.0f, 10.5f, 10.0f));
    EXPECT_NE(RGBf(std::nanf(""), 0.0f, 0.0f), RGBf(std::nanf(""), 0.0f, 0.0f));
    EXPECT_NE(RGB8(1, 2, 3), RGB8(1, 2, 4));
    EXPECT_EQ(RGB8(), RGB8(0, 0, 0));
}

TEST(RGBColour, ZOrderOfEightBitColours) {
    EXPECT_TRUE(RGB8(1, 0, 0) < RGB8(0, 0, 128) && !(RGB8(0, 0, 128) < RGB8(1, 0, 0)));
    EXPECT_TRUE(RGB8(2, 3, 0) < RGB8(3, 2, 0) && !(RGB8(3, 2, 0) < RGB8(2, 3, 0)));
    const RGB8 a(7, 8, 9), b(7, 8, 10);
    EXPECT_FALSE(a < a);
    EXPECT_TRUE(a <= a && a >= a && !(a > a));
    EXPECT_TRUE(a < b && a <= b && b > a && b >= a && !(a > b) && !(b <= a));
}

TEST(RGBColour, ZOrderExhaustiveAgainstFrexpRanks) {
    // Every pair of values in one channel, and the two channels swapped.
    for (int x = 0; x < 256; ++x) {
        for (int y = 0; y < 256; ++y) {
            const auto u = static_cast<unsigned char>(x), v = static_cast<unsigned char>(y);
            ASSERT_TRUE(ZOrderAgrees(RGB8(u, 0, 0), RGB8(v, 0, 0)));
            ASSERT_TRUE(ZOrderAgrees(RGB8(5, u, 9), RGB8(5, v, 9)));
            ASSERT_TRUE(ZOrderAgrees(RGB8(0, 0, u), RGB8(0, 0, v)));
            ASSERT_TRUE(ZOrderAgrees(RGB8(u, v, 0), RGB8(v, u, 0)));
            ASSERT_TRUE(ZOrderAgrees(RGB8(0, u, v), RGB8(0, v, u)));
        }
    }
    // All pairs of a random sample.
    std::mt19937 random(20240611);
    std::vector<RGB8> sample(1200);
    for (RGB8& c : sample) {
        const std::uint32_t bits = random();
        c = RGB8(bits & 0xFF, bits >> 8 & 0xFF, bits >> 16 & 0xFF);
        if (bits >> 24 & 1) c.g = c.r;  // shared channel values make rank ties common
    }
    for (const RGB8& x : sample) {
        for (const RGB8& y : sample) ASSERT_TRUE(ZOrderAgrees(x, y));
    }
}

TEST(RGBColour, GreyLevelOrderOfCharAndFloatColours) {
    const RGBf a(10.0f, 20.0f, 30.0f), b(30.0f, 20.0f, 10.0f);
    EXPECT_FALSE(a < b || b < a);
    EXPECT_TRUE(a > b && b > a && a >= b && b >= a);
    EXPECT_FALSE(a <= b || b <= a);
    EXPECT_TRUE(a <= a && !(a > a));

    EXPECT_TRUE(RGBc(100, 100, 100) < RGBc(-3, -3, -3));  // grey 253
    EXPECT_TRUE(RGBc(0, 0, -2) < RGBc(0, 0, 3));            // -2/3 truncates to 0, 1 > 0
    EXPECT_FALSE(RGBc(-1, 0, 0) < RGBc(0, 0, 0));
    EXPECT_TRUE(RGBf(19.0f, 20.0f, 20.0f) < RGBf(20.0f, 20.0f, 20.0f));
    EXPECT_TRUE(RGBf(300.0f, 300.0f, 300.0f) < RGBf(50.0f, 50.0f, 50.0f));  // 300 keeps 44
    EXPECT_TRUE(RGBf(-3.0f, -3.0f, -3.0f) > RGBf(252.0f, 252.0f, 252.0f));

    // No integer part to keep: grey level 0.
    const RGBf one(3.0f, 3.0f, 3.0f), zero(0.0f, 0.0f, 0.0f);
    for (const RGBf& odd : {RGBf(std::nanf(""), 0.0f, 0.0f), RGBf(1e10f, 1e10f, 1e10f), RGBf(-1e10f, 0.0f, 0.0f),
                            RGBf(std::numeric_limits<float>::infinity(), 0.0f, 0.0f)}) {
        EXPECT_TRUE(odd < one);
        EXPECT_FALSE(zero < odd);
        EXPECT_FALSE(odd < zero);
    }
}

TEST(HSLColour, ConversionValues) {
    const std::pair<RGB8, HSLType> cases[] = {
        {RGB8(255, 0, 0), Hsl(0, 65535, 32768)}, {RGB8(0, 255, 0), Hsl(21845, 65535, 32768)},
        {RGB8(0, 0, 255), Hsl(43690, 65535, 32768)}, {RGB8(128, 128, 128), Hsl(0, 0, 32896)},
        {RGB8(255, 255, 255), Hsl(0, 0, 65535)}, {RGB8(0, 0, 0), Hsl(0, 0, 0)}, {RGB8(255, 0, 1), Hsl(65494, 65535, 32768)},
        // Worked through step by step: a red and blue tie takes red's formula;
        // saturation divides by the rounded lightness.
        {RGB8(255, 0, 255), Hsl(54614, 65535, 32768)}, {RGB8(100, 50, 100), Hsl(54614, 21845, 19275)},
        {RGB8(0, 0, 1), Hsl(43690, 65281, 129)}, {RGB8(10, 200, 90), Hsl(26443, 59294, 26985)}};
    for (const auto& [rgb, hsl] : cases) {
        EXPECT_EQ(Fields(HSLType(rgb)), Fields(hsl));
        EXPECT_EQ(RGB8(hsl), rgb);
    }
    EXPECT_FLOAT_EQ(HSLType(RGB8(255, 0, 1)).Hue(), 359.77478f);
    EXPECT_EQ(HSLType(RGB8(0, 255, 0)).Hue(), 120.0f);
    EXPECT_EQ(HSLType(RGB8(0, 255, 0)).Saturation(), 1.0f);
    EXPECT_EQ(HSLType(RGB8(0, 0, 0)).Lightness(), 0.0f);
    EXPECT_FLOAT_EQ(HSLType(RGB8(255, 0, 0)).Lightness(), 0.500007629f);

    const HSLType full(360.0f, 1.0f, 0.5f), zero(0.0f, 1.0f, 0.5f);
    EXPECT_EQ(full.hue, 65535);
    EXPECT_EQ(RGB8(full), RGB8(255, 0, 0));
    EXPECT_EQ(Fields(zero), std::make_tuple(0, 65535, 32767));

    // HSL values that no 8-bit colour converts to.
    EXPECT_EQ(RGB8(Hsl(12345, 40000, 20000)), RGB8(113, 125, 30));
    EXPECT_EQ(RGB8(Hsl(50000, 65535, 50000)), RGB8(204, 134, 255));
    EXPECT_EQ(RGB8(Hsl(30000, 10000, 60000)), RGB8(230, 237, 235));
    EXPECT_EQ(RGB8(Hsl(10923, 65535, 32768)), RGB8(255, 255, 0));

    EXPECT_EQ(RGBf(Hsl(0, 65535, 32768)), RGBf(1.0f, 0.0f, 0.0f));
    EXPECT_EQ(RGBc(Hsl(0, 65535, 32768)), RGBc(-1, 0, 0));
    EXPECT_EQ(RGBf(HSLType(RGB8(0, 51, 255))), RGBf(0.0f, 0.2f, 1.0f));
    EXPECT_EQ(RGBc(HSLType(RGB8(10, 128, 200))), RGBc(10, -128, -56));
}

TEST(HSLColour, FloatConstructorTruncatesAndWraps) {
    // -182.04 truncates to -182; 131070; 98302.5 truncates to 98302.
    EXPECT_EQ(Fields(HSLType(-1.0f, 2.0f, 1.5f)), std::make_tuple(65354, 65534, 32766));
    // Just inside the 32-bit range still wraps; beyond it (6108304725.33,
    // 0xFEFF0100, -0xFEFF0100) no 32-bit integer holds the value: 0.
    // (32767 x 65535 rounds to 2147385344 = 0x7FFE8000 in single precision.)
    EXPECT_EQ(Fields(HSLType(0.0f, 32767.0f, -32767.0f)), std::make_tuple(0, 32768, 32768));
    EXPECT_EQ(Fields(HSLType(33554432.0f, 65280.0f, -65280.0f)), std::make_tuple(0, 0, 0));
    EXPECT_EQ(HSLType(-33554432.0f, 0.0f, 0.0f).hue, 0);
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Fields(HSLType(std::nanf(""), inf, -inf)), std::make_tuple(0, 0, 0));
    EXPECT_EQ(HSLType(inf, 0.0f, 0.0f).hue, 0);
}

TEST(HSLColour, OrderingIsLightnessFirst) {
    EXPECT_TRUE(Hsl(100, 0, 10) < Hsl(0, 0, 11) && !(Hsl(0, 0, 11) < Hsl(100, 0, 10)));
    EXPECT_TRUE(Hsl(100, 5, 10) < Hsl(0, 6, 10) && !(Hsl(0, 6, 10) < Hsl(100, 5, 10)));
    EXPECT_TRUE(Hsl(1, 5, 10) < Hsl(2, 5, 10) && !(Hsl(2, 5, 10) < Hsl(1, 5, 10)));
    EXPECT_FALSE(Hsl(2, 5, 10) < Hsl(2, 5, 10));
    EXPECT_TRUE(Hsl(65535, 65535, 0) < Hsl(0, 0, 65535));
}

// Every 8-bit colour: grey colours (and only they) have saturation 0 and hue 0,
// and every colour converts to HSL and back unchanged.
TEST(HSLColour, ExhaustiveRoundTrip) {
    for (std::uint32_t v = 0; v < (1u << 24); ++v) {
        const RGB8 rgb(static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v));
        const HSLType hsl(rgb);
        const bool grey = rgb.r == rgb.g && rgb.g == rgb.b;
        if (grey != (hsl.saturation == 0) || (grey && hsl.hue != 0) || RGB8(hsl) != rgb) {
            FAIL() << "colour " << +rgb.r << ',' << +rgb.g << ',' << +rgb.b << " -> hsl " << hsl.hue << ','
                   << hsl.saturation << ',' << hsl.lightness;
        }
    }
}

TEST(RGBIntensity, ConstructionAndEquality) {
    const RGBI8 grey(RGB8(10, 20, 31), RGB8(255, 255, 255), RGB8(0, 0, 2), Intensity8(7));
    EXPECT_EQ(grey, RGBI8(RGB8(20, 255, 0), Intensity8(7)));
    EXPECT_EQ(RGBI8(RGB8(200, 250, 253), RGB8(255, 254, 254), RGB8(1, 1, 1), Intensity8()).rgb, RGB8(234, 254, 1));

    const RGBI8 fromIntensity(Intensity8(9)), fromColour(RGB8(1, 2, 3));
    EXPECT_EQ(fromIntensity, RGBI8(RGB8(0, 0, 0), Intensity8(9)));
    EXPECT_EQ(fromColour, RGBI8(RGB8(1, 2, 3), Intensity8(0)));
    const RGBI8 value(RGB8(1, 2, 3), Intensity8(4));
    EXPECT_NE(value, RGBI8(RGB8(1, 2, 3), Intensity8(5)));
    EXPECT_FALSE(value != RGBI8(RGB8(1, 2, 3), Intensity8(4)));

    std::vector<unsigned char> bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    EXPECT_EQ(bytes, (std::vector<unsigned char>{1, 2, 3, 4}));
}
