#ifndef LXBASE_SRC_GEOMETRY_ZORDER_H
#define LXBASE_SRC_GEOMETRY_ZORDER_H

// Z-order (Morton) comparison of two points given as three doubles each.
//
// Per axis the comparison weighs the binary "level" at which the two values
// differ, as frexp sees them: with exponents ea != eb the level is the larger
// exponent; with equal exponents it is ea plus the frexp exponent of
// (bits(ma) ^ bits(mb) | bits(0.5)) - 0.5, i.e. the position of the highest
// differing mantissa bit. Equal values get the lowest level INT_MIN, the
// search starts at INT_MIN + 1, and ties keep the lower axis. The first axis
// whose values lie on different sides of zero (-0.0 counts as non-negative)
// decides before any level does.
//
// For finite non-zero values of one sign the level follows from the IEEE bit
// patterns alone. Let E be the exponent field of the larger magnitude and h
// the highest bit in which the two patterns differ (sign excluded):
//   * exponent fields differ (h >= 52): level = E - 1022, the larger value's
//     frexp exponent (a subnormal's is below every normal's);
//   * same exponent field (h < 52): both frexp mantissas share sign and
//     exponent, so their xor keeps only the differing fraction bits and
//     level = max(E, 1) - 1074 + h (subnormals scale like E = 1).
// Both cases are  max(E, 1) - 1074 + min(h, 52).
// Zeros, infinities and NaNs follow frexp itself (zero splits as 0 * 2^0,
// infinities and NaNs as themselves with exponent 0).

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace lxbase {
namespace zorder {

constexpr int kStartLevel = INT_MIN + 1;
constexpr int kEqualLevel = INT_MIN;
// Stands for "the values lie on different sides of zero": above every level,
// so the first such axis wins the search for the highest level.
constexpr int kSignLevel = INT_MAX;
constexpr std::uint64_t kHalfBits = 0x3FE0000000000000ull;

inline std::uint64_t Bits(double v) {
    std::uint64_t u;
    std::memcpy(&u, &v, sizeof u);
    return u;
}

inline double FromBits(std::uint64_t u) {
    double v;
    std::memcpy(&v, &u, sizeof v);
    return v;
}

inline bool IsOrdinary(double v) { return std::fabs(v) <= DBL_MAX && v != 0; }

// Level of two different finite non-zero values of the same sign. Written
// with selections only (no branches): sorting compares random points, where
// a branch on the data would be mispredicted half of the time.
inline int OrdinaryLevel(std::uint64_t ua, std::uint64_t ub) {
    const std::uint64_t larger = ua > ub ? ua : ub;
    int e = static_cast<int>((larger >> 52) & 0x7FF);
    e = e > 1 ? e : 1;
    // Shifting out the sign bit moves bit k to k + 1, hence 62 - clz.
    int h = 62 - __builtin_clzll(((ua ^ ub) << 1) | 1);
    h = h < 52 ? h : 52;
    return e - 1074 + h;
}

// Level of two unequal values on the same side of zero, by frexp itself.
inline int FrexpLevel(double a, double b) {
    int ea = 0;
    int eb = 0;
    const double ma = std::frexp(a, &ea);
    const double mb = std::frexp(b, &eb);
    if (ea != eb) return ea > eb ? ea : eb;
    int ed = 0;
    std::frexp(FromBits((Bits(ma) ^ Bits(mb)) | kHalfBits) - 0.5, &ed);
    return ea + ed;
}

// The steps axis by axis, for points with zeros, infinities or NaNs. Kept
// out of line so that the common route carries none of its cost.
__attribute__((noinline, cold)) inline bool GeneralLess(double a0, double a1, double a2, double b0,
                                                        double b1, double b2) {
    const double a[3] = {a0, a1, a2};
    const double b[3] = {b0, b1, b2};
    int bestLevel = kStartLevel;
    int bestAxis = 0;
    for (int i = 0; i < 3; ++i) {
        if ((a[i] < 0) != (b[i] < 0)) return a[i] < b[i];
        int level;
        if (a[i] == b[i]) {
            level = kEqualLevel;
        } else if (IsOrdinary(a[i]) && IsOrdinary(b[i])) {
            level = OrdinaryLevel(Bits(a[i]), Bits(b[i]));
        } else {
            level = FrexpLevel(a[i], b[i]);
        }
        if (bestLevel < level) {
            bestLevel = level;
            bestAxis = i;
        }
    }
    return a[bestAxis] < b[bestAxis];
}

// Level of one axis of two finite non-zero values, with the sign rule folded
// in: identical values give kEqualLevel, values of different signs
// kSignLevel (without zeros and NaNs, "less than zero" is the sign bit).
inline int AxisLevel(std::uint64_t ua, std::uint64_t ub) {
    const std::uint64_t differing = ua ^ ub;
    int level = OrdinaryLevel(ua, ub);
    level = differing == 0 ? kEqualLevel : level;
    return (differing >> 63) != 0 ? kSignLevel : level;
}

// a < b for a = (a0, a1, a2) and b = (b0, b1, b2).
__attribute__((always_inline)) inline bool Less(double a0, double a1, double a2, double b0,
                                                double b1, double b2) {
    // One test for the rare inputs: a zero, infinite or NaN coordinate makes
    // the product zero, infinite or NaN (an underflow or overflow of the
    // product only sends ordinary points down the exact general route too).
    // (screen * 0 is 0 exactly when screen is finite.)
    const double screen = ((a0 * b0) * (a1 * b1)) * (a2 * b2);
    if (__builtin_expect(!(screen != 0 && screen * 0 == 0), 0)) {
        return GeneralLess(a0, a1, a2, b0, b1, b2);
    }

    const int level0 = AxisLevel(Bits(a0), Bits(b0));
    const int level1 = AxisLevel(Bits(a1), Bits(b1));
    const int level2 = AxisLevel(Bits(a2), Bits(b2));
    const unsigned less = static_cast<unsigned>(a0 < b0) | (static_cast<unsigned>(a1 < b1) << 1) |
                          (static_cast<unsigned>(a2 < b2) << 2);
    // Highest level, ties to the lower axis; all levels exceed the start
    // level except kEqualLevel, which never wins, as in the steps.
    const unsigned over0 = static_cast<unsigned>(level1 > level0);
    const int level01 = level1 > level0 ? level1 : level0;
    const unsigned over01 = static_cast<unsigned>(level2 > level01);
    const unsigned axis = (over01 << 1) | (over0 & ~over01);
    return ((less >> axis) & 1u) != 0;
}

}  // namespace zorder
}  // namespace lxbase

#endif
