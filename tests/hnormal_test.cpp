// The packed colour/intensity/normal record and its cube-map normal code.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "bit_patterns.h"

#include "lxbase/hnormal_rgb.h"
#include "normal_code.h"

using lxbase::HNormalRGB;
using lxbase::XYZf;
namespace detail = lxbase::detail;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
const double kDegreesPerRadian = 180 / std::acos(-1.0);

std::uint16_t FastCode(const XYZf& n) {
    HNormalRGB record;
    record.SetNormal(n);
    return record.GetNormalCode();
}

XYZf Decode(std::uint16_t code) {
    HNormalRGB record;
    record.SetNormalCode(code);
    return record.GetNormal();
}

using testbits::Bits;
using testbits::FloatFromBits;

void ExpectNear(const XYZf& p, float x, float y, float z) {
    EXPECT_NEAR(p.x, x, 5e-5f);
    EXPECT_NEAR(p.y, y, 5e-5f);
    EXPECT_NEAR(p.z, z, 5e-5f);
}

// Both encoders must agree on an index; returns the step-by-step one.
int CheckedCellIndex(float q) {
    const int stepwise = detail::CellIndexStepwise(q);
    const detail::NormalCodeTable& table = detail::GetNormalCodeTable();
    EXPECT_EQ(detail::CellIndexFast(table, q), stepwise) << std::hex << Bits(q);
    EXPECT_EQ(detail::CellIndexFromThresholds(table.cellThresholds, q), stepwise) << Bits(q);
    return stepwise;
}

}  // namespace

TEST(HNormalRGB, ConstructorsAndColourWord) {
    const HNormalRGB empty;
    EXPECT_EQ(empty.codeWord, 0u);
    EXPECT_EQ(empty.colourWord, 0u);

    const HNormalRGB colour(10, 20, 30);
    EXPECT_EQ(colour.colourWord, 0x0A141E00u);
    EXPECT_EQ(colour.codeWord, 0u);
    EXPECT_EQ(colour.Red(), 10);
    EXPECT_EQ(colour.Green(), 20);
    EXPECT_EQ(colour.Blue(), 30);
    EXPECT_EQ(colour.Intensity(), 0);
    const unsigned char inMemory[4] = {0, 30, 20, 10};  // intensity, blue, green, red
    EXPECT_EQ(std::memcmp(&colour.colourWord, inMemory, 4), 0);

    const HNormalRGB withIntensity(10, 20, 30, 40);
    EXPECT_EQ(withIntensity.colourWord, 0x0A141E28u);
    EXPECT_EQ(withIntensity.codeWord, 1u);
    ExpectNear(withIntensity.GetNormal(), 0.58898f, -0.57145f, -0.57145f);

    const HNormalRGB withNormal(1, 2, 3, XYZf(0, 0, -5));
    EXPECT_EQ(withNormal.colourWord, 0x01020300u);
    EXPECT_EQ(withNormal.GetNormalCode(), 14899);
}

TEST(HNormalRGB, ChannelAccessAndMasks) {
    HNormalRGB p(10, 20, 30, 40);
    p.SetEmptyBitValue(77);
    p.Red() = 0xAB;
    p.Blue() = 0xCD;
    EXPECT_EQ(p.colourWord, 0xAB14CD28u);
    p.SetRGB(1, 2, 3);
    EXPECT_EQ(p.colourWord, 0x01020328u);
    p.SetIntensity(0xEE);
    EXPECT_EQ(p.colourWord, 0x010203EEu);
    EXPECT_EQ(p.codeWord, (77u << 17) | 1u);
    // The masks are defined out of line: EXPECT_EQ binds them to references.
    EXPECT_EQ((p.colourWord & HNormalRGB::RMask) >> 24, p.Red());
    EXPECT_EQ((p.colourWord & HNormalRGB::GMask) >> 16, p.Green());
    EXPECT_EQ((p.colourWord & HNormalRGB::BMask) >> 8, p.Blue());
    EXPECT_EQ(p.colourWord & HNormalRGB::IMask, p.Intensity());
    EXPECT_EQ(HNormalRGB::sRemainingShift, 17u);
    EXPECT_EQ(HNormalRGB::sRemainingComp, 0x1FFFFu);
}

TEST(HNormalRGB, EmptyBitsAndReservedBits) {
    HNormalRGB p(1, 2, 3, 4);
    p.SetEmptyBitValue(0x7FFF);
    EXPECT_EQ(p.GetEmptyBitValue(), 0x7FFFu);
    EXPECT_EQ(p.GetNormalCode(), 1);
    EXPECT_EQ(p.colourWord, 0x01020304u);
    p.SetEmptyBitValue(0x10001);
    EXPECT_EQ(p.GetEmptyBitValue(), 1u);

    p.SetNormal(XYZf(1, 0, 0));
    EXPECT_EQ(p.GetEmptyBitValue(), 1u);
    p.SetNormalCode(5);
    EXPECT_EQ(p.GetNormalCode(), 5);
    EXPECT_EQ(p.GetEmptyBitValue(), 1u);

    p.SetNormalCode(0x4005);  // bit 14 lands in the reserved bits
    EXPECT_EQ(p.GetNormalCode(), 5);
    p.SetNormalCode(0);
    EXPECT_EQ(p.codeWord, (1u << 17) | (1u << 14));
    p.SetNormal(XYZf(0, 0, 1));
    p.SetEmptyBitValue(3);
    EXPECT_EQ(p.codeWord, (3u << 17) | (1u << 14) | 12195u);
}

TEST(NormalCode, AxisCornerAndDegenerateCodes) {
    struct Case { XYZf n; std::uint16_t code; };
    const Case cases[] = {
        {{1, 0, 0}, 1379},   {{-1, 0, 0}, 4083},  {{0, 1, 0}, 6787},    {{0, -1, 0}, 9491},
        {{0, 0, 1}, 12195},  {{0, 0, -1}, 14899}, {{2, 0, 0}, 1379},    {{1, 1, 1}, 2704},
        {{-1, -1, -1}, 2705}, {{0, 0, 0}, 1},
        {{-0.0f, 0, 0}, 1},           // −0.0 is not negative: face 0, not face 1
        {{1, -0.0f, -0.0f}, 1379},    // −0.0 quotients lie in the centre cells
        {{1, 1, 0}, 1 + 51 * 52 + 26},  // x wins the tie with y
        {{kInf, 0, 0}, 1379},         {{kInf, kInf, 0}, 1 + 26},  // ∞/∞ gives index 0
        {{kNaN, 1, 1}, 1},            {{3, kNaN, -3}, 1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(FastCode(c.n), c.code) << c.n.x << ' ' << c.n.y << ' ' << c.n.z;
        EXPECT_EQ(detail::EncodeNormalStepwise(c.n), c.code) << c.n.x << ' ' << c.n.y;
    }
    ExpectNear(Decode(1379), 0.99977f, 0.01510f, 0.01510f);
}

TEST(NormalCode, Table) {
    const detail::NormalCodeTable& table = detail::GetNormalCodeTable();
    EXPECT_EQ(table.gridSize, 52u);
    EXPECT_EQ(Bits(table.angleScale), 0x42046ABBu);
    EXPECT_EQ(Bits(detail::kQuarterPi), 0x3F490FDBu);
    ExpectNear(Decode(1), 0.58898f, -0.57145f, -0.57145f);
    constexpr std::uint16_t kLast = HNormalRGB::sLargestNormalCode;
    static_assert(kLast == 6 * 52 * 52, "six faces of 52 x 52 cells after code 0");
    ExpectNear(Decode(kLast), 0.57145f, 0.57145f, -0.58898f);
    ExpectNear(Decode(0), 0, 0, 0);
    for (std::uint32_t code = kLast + 1u; code < 16384; ++code)
        ExpectNear(Decode(static_cast<std::uint16_t>(code)), 0, 0, 0);

    // Every cell centre is a unit vector on its own face and encodes back to
    // its own code.
    for (std::uint16_t code = 1; code <= kLast; ++code) {
        const XYZf n = Decode(code);
        const int face = (code - 1) / (52 * 52);
        const float dominant[3] = {n.x, n.y, n.z};
        ASSERT_GT(dominant[face / 2] * detail::kFaceSign[face], 0.5f) << code;
        ASSERT_NEAR(std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z), 1.0f, 1e-6f) << code;
        ASSERT_EQ(FastCode(n), code);
        ASSERT_EQ(detail::EncodeNormalStepwise(n), code);
    }
}

// The fast indices count thresholds (by bucket or by binary search); they
// equal the atanf index for every float when each threshold is the exact
// boundary and the atanf index never decreases near it. Checked on a window
// of floats around each threshold, on special values and on random bit
// patterns and quotients.
TEST(NormalCode, ThresholdSearchEqualsAtanfIndex) {
    const float(&threshold)[detail::kThresholdSlots] =
        detail::GetNormalCodeTable().cellThresholds;
    for (int k = 1; k <= detail::kLastCell; ++k) {
        EXPECT_EQ(CheckedCellIndex(threshold[k]), k);
        EXPECT_EQ(CheckedCellIndex(std::nextafter(threshold[k], -kInf)), k - 1);
        if (k > 1) {  // one threshold per bucket at most
            EXPECT_LT(detail::QuotientBucket(threshold[k - 1]),
                      detail::QuotientBucket(threshold[k]));
        }
        float up = threshold[k], down = threshold[k];
        for (int step = 0; step < 512; ++step) {
            up = std::nextafter(up, kInf);
            down = std::nextafter(down, -kInf);
            ASSERT_GE(CheckedCellIndex(up), k);
            ASSERT_LT(CheckedCellIndex(down), k);
        }
    }
    for (int k = detail::kLastCell + 1; k < detail::kThresholdSlots; ++k)
        EXPECT_TRUE(std::isnan(threshold[k]));

    const float fmin = std::numeric_limits<float>::min();
    const float denorm = std::numeric_limits<float>::denorm_min();
    const float fmax = std::numeric_limits<float>::max();
    const float specials[] = {0.0f, -0.0f, denorm, -denorm, fmin, -fmin, 1, -1,
                              fmax, -fmax, kInf, -kInf, kNaN, -kNaN};
    const int expected[] = {26, 26, 26, 25, 26, 25, 51, 0, 51, 0, 51, 0, 0, 0};
    for (std::size_t i = 0; i < std::size(specials); ++i)
        EXPECT_EQ(CheckedCellIndex(specials[i]), expected[i]) << i;

    std::mt19937 random(12345);
    std::uniform_real_distribution<float> inFace(-1.0f, 1.0f);
    for (int i = 0; i < 1000000; ++i) {
        CheckedCellIndex(FloatFromBits(static_cast<std::uint32_t>(random())));
        CheckedCellIndex(inFace(random));
    }
}

TEST(NormalCode, EncodersAgreeAndDecodeWithinCellRadius) {
    std::mt19937 random(777);
    std::normal_distribution<double> gauss;
    double worstDegrees = 0;
    for (int i = 0; i < 300000; ++i) {
        const double v[3] = {gauss(random), gauss(random), gauss(random)};
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        const XYZf n(static_cast<float>(v[0] / length), static_cast<float>(v[1] / length),
                      static_cast<float>(v[2] / length));
        const std::uint16_t code = FastCode(n);
        ASSERT_EQ(code, detail::EncodeNormalStepwise(n));
        const XYZf d = Decode(code);
        const double dot = (d.x * v[0] + d.y * v[1] + d.z * v[2]) / length;
        worstDegrees = std::max(worstDegrees, std::acos(std::min(dot, 1.0)) * kDegreesPerRadian);

        const XYZf bits(FloatFromBits(static_cast<std::uint32_t>(random())),
                         FloatFromBits(static_cast<std::uint32_t>(random())),
                         FloatFromBits(static_cast<std::uint32_t>(random())));
        ASSERT_EQ(FastCode(bits), detail::EncodeNormalStepwise(bits));
    }
    EXPECT_LE(worstDegrees, 1.41);
}
