#include <gtest/gtest.h>

#include "bit_patterns.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

#include "lxbase/points.h"

using lxbase::tBasePolarPoint;
using lxbase::tBaseXYZPoint;
using lxbase::XYZd;

namespace {

using testbits::Bits;
using testbits::FromBits;

// The Z-order comparison spelled out with frexp, one step at a time.
bool ReferenceLess(const double* a, const double* b) {
    int bestLevel = -2147483647;
    int bestAxis = 0;
    for (int i = 0; i < 3; ++i) {
        if ((a[i] < 0) != (b[i] < 0)) return a[i] < b[i];
        int level = INT_MIN;
        if (a[i] != b[i]) {
            int ea, eb, ed;
            const double ma = std::frexp(a[i], &ea);
            const double mb = std::frexp(b[i], &eb);
            if (ea != eb) {
                level = std::max(ea, eb);
            } else {
                std::frexp(FromBits((Bits(ma) ^ Bits(mb)) | 0x3FE0000000000000ull) - 0.5, &ed);
                level = ea + ed;
            }
        }
        if (bestLevel < level) {
            bestLevel = level;
            bestAxis = i;
        }
    }
    return a[bestAxis] < b[bestAxis];
}

// Values that stress the comparison: zeros of both signs, subnormals, the
// ends of the normal range, infinities, NaNs, and values sharing exponents.
struct AdversarialValues {
    std::mt19937_64 rng;

    std::uint64_t Next() { return rng(); }
    double Sign() { return (Next() & 1) ? -1.0 : 1.0; }

    // A value of magnitude about 2^scale (subnormal below 2^-1022).
    double Scaled(int scale) { return Sign() * std::ldexp(1.0 + (Next() >> 12) * 0x1p-52, scale); }

    double Value() {
        static const double kSpecial[] = {
            0.0, -0.0, 0.5, -0.5, 0.75, 1.0, 2.0, 3.0, std::numeric_limits<double>::denorm_min(),
            DBL_MIN, -DBL_MAX, std::nextafter(DBL_MIN, 0.0), HUGE_VAL, -HUGE_VAL,
            std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::quiet_NaN(),
            std::numeric_limits<double>::signaling_NaN(), FromBits(0xFFF0000000000001ull)};
        switch (Next() % 6) {
            case 0: return kSpecial[Next() % (sizeof kSpecial / sizeof kSpecial[0])];
            case 1: return FromBits(Next());
            case 2: return Scaled(int(Next() % 9) - 4);
            case 3: return Sign() * FromBits((Next() & 0x000FFFFFFFFFFFFFull) >> (Next() % 52));
            case 4: return double(int(Next() % 17) - 8);
            default: return Sign() * std::ldexp(1.0, int(Next() % 2100) - 1080);
        }
    }

    // A second value related to a: neighbouring patterns, shared exponent,
    // equal, negated, a zero, or unrelated.
    double Partner(double a) {
        const std::uint64_t u = Bits(a);
        switch (Next() % 7) {
            case 0: return Value();
            case 1: return FromBits(u ^ (1ull << (Next() % 64)));
            case 2: return FromBits((Next() & 1) ? u + 1 : u - 1);
            case 3: return FromBits((u & 0xFFF0000000000000ull) | (Next() >> 12));
            case 4: return a;
            case 5: return (Next() & 1) ? -a : Sign() * 0.0;
            default: return FromBits(u ^ (Next() & 0x000FFFFFFFFFFFFFull >> (Next() % 52)));
        }
    }
};

}  // namespace

namespace {

// a < b and not b < a.
bool Before(const XYZd& a, const XYZd& b) { return a < b && !(b < a); }

}  // namespace

TEST(ZOrder, ExamplesOfTheOrdering) {
    EXPECT_TRUE(Before(XYZd(2, 0, 0), XYZd(1, 5, 0)));
    EXPECT_TRUE(Before(XYZd(0, 1, 0), XYZd(1, 0, 0)));
    EXPECT_TRUE(Before(XYZd(0, 0, 1), XYZd(1, 0, 0)));
    EXPECT_TRUE(Before(XYZd(2, 1, 0), XYZd(3, 0, 0)));
    EXPECT_TRUE(Before(XYZd(100, -1, 0), XYZd(0, 1, 0)));
    EXPECT_TRUE(Before(XYZd(0.75, 0, 0), XYZd(0, 0.5, 0)));
    // A later sign difference decides over an earlier, higher level.
    EXPECT_TRUE(Before(XYZd(1e300, 0, -1), XYZd(1, 0, 1)));
    // -0.0 is non-negative, and equal to +0.0.
    EXPECT_TRUE(Before(XYZd(-3, 0, 0), XYZd(-0.0, 0, 0)));
    EXPECT_FALSE(XYZd(1, 2, 3) < XYZd(1, 2, 3));
    EXPECT_FALSE(XYZd(0.0, -0.0, 5) < XYZd(-0.0, 0.0, 5));
    EXPECT_FALSE(XYZd(-0.0, 0.0, 5) < XYZd(0.0, -0.0, 5));
    // A normal against a subnormal value outranks two subnormals.
    EXPECT_TRUE(Before(XYZd(DBL_MIN / 4, 0x1p-1060, 0), XYZd(DBL_MIN, 0x1p-1061, 0)));
}

TEST(ZOrder, MatchesFrexpStepsOnAdversarialPairs) {
    AdversarialValues gen{std::mt19937_64(20240611)};
    int mismatches = 0;
    for (int n = 0; n < 2500000 && mismatches < 10; ++n) {
        // Every other point has axis scales summing to about zero, so that
        // subnormal and huge coordinates meet in one point without the
        // product of all coordinates under- or overflowing.
        const int s0 = int(gen.Next() % 2090) - 1074;
        const int s1 = int(gen.Next() % 2090) - 1074;
        const int scales[3] = {s0, s1, std::max(-1074, std::min(1020, -(s0 + s1)))};
        double a[3], b[3];
        for (int i = 0; i < 3; ++i) {
            a[i] = (n & 1) ? gen.Scaled(scales[i]) : gen.Value();
            b[i] = gen.Partner(a[i]);
        }
        const XYZd pa(a[0], a[1], a[2]);
        const XYZd pb(b[0], b[1], b[2]);
        if ((pa < pb) != ReferenceLess(a, b) || (pb < pa) != ReferenceLess(b, a)) {
            ++mismatches;
            ADD_FAILURE() << std::hexfloat << "a = (" << a[0] << ", " << a[1] << ", " << a[2]
                          << ") b = (" << b[0] << ", " << b[1] << ", " << b[2] << ")";
        }
    }

    // Float points compare as their (exact) double values.
    for (int n = 0; n < 200000; ++n) {
        float a[3], b[3];
        double wa[3], wb[3];
        for (int i = 0; i < 3; ++i) {
            wa[i] = a[i] = static_cast<float>(gen.Value());
            wb[i] = b[i] = static_cast<float>(gen.Partner(a[i]));
        }
        ASSERT_EQ(tBaseXYZPoint<float>(a[0], a[1], a[2]) < tBaseXYZPoint<float>(b[0], b[1], b[2]),
                  ReferenceLess(wa, wb)) << n;
    }
}

TEST(Points, MembersFollowTheirFormulas) {
    XYZd p(3, 4, 12);
    EXPECT_EQ(p.Range(), 13.0);
    EXPECT_EQ(XYZd(1, 1, 1).Distance(XYZd(4, 5, 13)), 13.0);
    EXPECT_EQ(XYZd(-1, -0.0, 0).HorizontalAngle(), -M_PI);
    EXPECT_EQ(XYZd(0, 0, -2).VerticalAngle(), M_PI);
    p[1] = 7;
    EXPECT_TRUE(p.y == 7 && p[2] == 12 && p.ToArray() + 1 == &p.y);
    EXPECT_TRUE(XYZd(0.0, 1, 2) == XYZd(-0.0, 1, 2));
    EXPECT_FALSE(XYZd(NAN, 1, 2) == XYZd(NAN, 1, 2));
    EXPECT_FALSE(XYZd(1, 2, 3) == XYZd(1, 2, 3.5));

    XYZd q(1, 2, 3);
    (q += XYZd(1, 1, 1)) *= 2;  // (4, 6, 8)
    q -= 1.0;
    q /= 4.0;
    EXPECT_TRUE(q == XYZd(0.75, 1.25, 1.75));
    // A true division: 0.9 / 10 differs from 0.9 * (1 / 10).
    XYZd r(0.9, 1, -1);
    r /= 10.0;
    EXPECT_EQ(r.x, 0.9 / 10.0);
    EXPECT_NE(r.x, 0.9 * (1.0 / 10.0));
    r = XYZd(1, -1, 0);
    r /= 0.0;
    EXPECT_TRUE(r.x == HUGE_VAL && r.y == -HUGE_VAL && std::isnan(r.z));

    // The float point has the same members, computed in single precision
    // (volatile keeps the compiler from folding the expected values).
    volatile float fx = 0.1f, fy = 0.2f, fz = 0.3f;
    tBaseXYZPoint<float> f(fx, fy, fz);
    EXPECT_EQ(Bits(f.Range()), Bits(std::sqrt((fx * fx + fy * fy) + fz * fz)));
    EXPECT_NE(f.Range(), float(std::sqrt(0.1 * 0.1 + 0.2 * 0.2 + 0.3 * 0.3)));
    EXPECT_EQ(Bits(f.VerticalAngle()), Bits(std::atan2(std::sqrt(fx * fx + fy * fy), float(fz))));
}

TEST(PointConversion, SpecialDirections) {
    tBasePolarPoint<double> polar(9, 9, 9);
    polar = XYZd(0, 0, 0);
    EXPECT_TRUE(polar.range == 0 && polar.horizontalAngle == 0 && polar.verticalAngle == 0);
    polar = XYZd(0, 0, 5);
    EXPECT_TRUE(polar.range == 5 && polar.horizontalAngle == 0 && polar.verticalAngle == 0);
    polar = XYZd(0, 0, -5);
    EXPECT_EQ(polar.verticalAngle, 3.141592653589793);
    EXPECT_EQ(polar.horizontalAngle, 0.0);
    polar = XYZd(-0.0, 0.0, -5);
    EXPECT_EQ(polar.horizontalAngle, 3.141592653589793);

    // On the horizon z is r * cos(pi/2), about 6.1e-17 * r, not 0.
    XYZd cart;
    cart = tBasePolarPoint<double>(2, 0.3, M_PI / 2);
    EXPECT_EQ(cart.z, 2 * std::cos(M_PI / 2));
    EXPECT_GT(cart.z, 1e-16);
}

namespace {

// The conversions with every rounding forced through memory, so that no
// compiler can drop one.
template <typename T, typename U>
tBaseXYZPoint<T> StepwiseToCartesian(const tBasePolarPoint<U>& p) {
    using W = decltype(T() * U());
    volatile T sinV = T(std::sin(p.verticalAngle)), cosV = T(std::cos(p.verticalAngle));
    volatile T sinH = T(std::sin(p.horizontalAngle)), cosH = T(std::cos(p.horizontalAngle));
    volatile W sinVRange = W(sinV) * W(p.range);
    volatile W x = W(cosH) * sinVRange, y = W(sinH) * sinVRange, z = W(cosV) * W(p.range);
    volatile T tx = T(x), ty = T(y), tz = T(z);
    return tBaseXYZPoint<T>(tx, ty, tz);
}

template <typename T, typename U>
tBasePolarPoint<T> StepwiseToPolar(const tBaseXYZPoint<U>& p) {
    volatile U xx = p.x * p.x, yy = p.y * p.y, zz = p.z * p.z;
    volatile U planeSquared = xx + yy;
    volatile U rangeSquared = planeSquared + zz;
    volatile U range = std::sqrt(U(rangeSquared)), plane = std::sqrt(U(planeSquared));
    volatile U vertical = std::atan2(U(plane), p.z), horizontal = std::atan2(p.y, p.x);
    volatile T r = T(range), h = T(horizontal), v = T(vertical);
    return tBasePolarPoint<T>(r, h, v);
}

template <typename T, typename U>
int ConversionMismatches(std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    int mismatches = 0;
    for (int n = 0; n < 100000; ++n) {
        const double scale = std::ldexp(1.0, int(rng() % 40) - 10);
        const tBasePolarPoint<U> polar(U(std::fabs(unit(rng)) * scale), U(unit(rng) * M_PI),
                                       U((unit(rng) + 1) * M_PI / 2));
        tBaseXYZPoint<T> cart;
        cart = polar;
        const tBaseXYZPoint<T> cartExpected = StepwiseToCartesian<T>(polar);
        const tBaseXYZPoint<U> source(U(unit(rng) * scale), U(unit(rng) * scale), U(unit(rng) * scale));
        tBasePolarPoint<T> back;
        back = source;
        const tBasePolarPoint<T> backExpected = StepwiseToPolar<T>(source);
        mismatches += std::memcmp(&cart, &cartExpected, sizeof cart) != 0;
        mismatches += std::memcmp(&back, &backExpected, sizeof back) != 0;
    }
    return mismatches;
}

}  // namespace

TEST(PointConversion, EveryRoundingHappensInAllFourPrecisionPairs) {
    EXPECT_EQ((ConversionMismatches<float, double>(1)), 0);
    EXPECT_EQ((ConversionMismatches<double, float>(2)), 0);
    EXPECT_EQ((ConversionMismatches<float, float>(3)), 0);
    EXPECT_EQ((ConversionMismatches<double, double>(4)), 0);
}
