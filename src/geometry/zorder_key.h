#ifndef LXBASE_SRC_GEOMETRY_ZORDER_KEY_H
#define LXBASE_SRC_GEOMETRY_ZORDER_KEY_H

// A 64-bit Morton key that agrees with operator< on finite non-zero
// coordinates wherever two keys differ.
//
// For finite non-zero values of one sign, the level at which operator<
// weighs two values is the position of their highest differing bit in the
// plain binary (fixed-point) expansion: a bit of weight 2^(k-1) is level k.
// So operator< on such points is the lexicographic order of the bit strings
// "signs of x, y, z, then the bits of |x|, |y|, |z| interleaved from the top
// level down" (negative magnitudes inverted, as larger ones order first).
// The key is the top 64 bits of that string, taken within a box: the bits of
// weight 2^top and above are the same for every value of an axis in the box,
// so they are left out, and so are the axes on which all values are equal
// (their level never decides). What the key cannot tell apart lies below its
// last bit, and is ordered afterwards.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "zorder.h"

namespace lxbase {
namespace zorder {

// Per axis, the range of the values to be keyed (finite values only).
struct KeyBox {
    double min[3] = {0, 0, 0};
    double max[3] = {0, 0, 0};
    bool has[3] = {false, false, false};

    void Add(int a, double v) {
        if (!has[a] || v < min[a]) min[a] = v;
        if (!has[a] || v > max[a]) max[a] = v;
        has[a] = true;
    }
    void Add(const double v[3]) {
        for (int a = 0; a < 3; ++a) Add(a, v[a]);
    }
};

// Moves bit k of v to bit 3k (v below 2^21).
inline std::uint64_t Spread3(std::uint64_t v) {
    v = (v | v << 32) & 0x1F00000000FFFFull;
    v = (v | v << 16) & 0x1F0000FF0000FFull;
    v = (v | v << 8) & 0x100F00F00F00F00Full;
    v = (v | v << 4) & 0x10C30C30C30C30C3ull;
    v = (v | v << 2) & 0x1249249249249249ull;
    return v;
}

// Moves bit k of v to bit 2k (v below 2^32).
inline std::uint64_t Spread2(std::uint64_t v) {
    v = (v | v << 16) & 0x0000FFFF0000FFFFull;
    v = (v | v << 8) & 0x00FF00FF00FF00FFull;
    v = (v | v << 4) & 0x0F0F0F0F0F0F0F0Full;
    v = (v | v << 2) & 0x3333333333333333ull;
    v = (v | v << 1) & 0x5555555555555555ull;
    return v;
}

// The level of the highest bit (weight 2^(level-1)) in which two different
// finite values lo < hi differ in their binary expansion, taking values of
// both signs to differ in every bit below the larger magnitude's top.
inline int TopLevel(double lo, double hi) {
    int e = 0;
    if (lo < 0 && !(hi < 0)) {
        int elo = 0;
        std::frexp(lo, &elo);
        std::frexp(hi, &e);
        return hi == 0 ? elo : std::max(elo, e);
    }
    const double a = std::fabs(lo);
    const double b = std::fabs(hi);
    if (a == 0 || b == 0) {
        std::frexp(a + b, &e);
        return e;
    }
    return OrdinaryLevel(Bits(a), Bits(b));
}

class MortonKey {
public:
    // Keys the values inside the box; an axis whose values are all equal
    // takes no part.
    explicit MortonKey(const KeyBox& box) {
        int top = INT_MIN;
        for (int a = 0; a < 3; ++a) {
            if (box.has[a] && box.min[a] != box.max[a]) {
                axis_[count_++] = a;
                top = std::max(top, TopLevel(box.min[a], box.max[a]));
            }
        }
        // Bits per axis: 64 less one sign bit each, shared from the top
        // level down, the earlier axes first.
        static const int kBits[4][3] = {{0, 0, 0}, {63, 0, 0}, {31, 31, 0}, {21, 20, 20}};
        static const int kShift[4][3] = {{0, 0, 0}, {0, 0, 0}, {1, 0, 0}, {0, 2, 1}};
        for (int s = 0; s < count_; ++s) {
            const int a = axis_[s];
            bits_[s] = kBits[count_][s];
            shift_[s] = kShift[count_][s];
            mask_[s] = (std::uint64_t{1} << bits_[s]) - 1;
            // The largest double below 2^bits (2^63 - 1 is no double).
            largest_[s] = std::nextafter(std::ldexp(1.0, bits_[s]), 0.0);
            // The bits of weight 2^top and above, common to the axis's values.
            const bool sameSign = (box.min[a] < 0) == (box.max[a] < 0);
            base_[s] = sameSign ? std::ldexp(std::floor(std::ldexp(std::fabs(box.min[a]), -top)), top) : 0.0;
            // 2^(bits - top) as two factors that are both normal doubles.
            const int exponent = bits_[s] - top;
            const int first = std::max(-1000, std::min(1000, exponent));
            scale_[s][0] = std::ldexp(1.0, first);
            scale_[s][1] = std::ldexp(1.0, exponent - first);
        }
    }

    // Number of axes the key orders by; 0 when all points are alike.
    int Axes() const { return count_; }

    std::uint64_t operator()(const double v[3]) const {
        std::uint64_t key = 0;
        for (int s = 0; s < count_; ++s) {
            const double value = v[axis_[s]];
            // Exact: the value and the base share every bit they both have
            // above 2^top, and the scales are powers of two.
            double fixed = ((std::fabs(value) - base_[s]) * scale_[s][0]) * scale_[s][1];
            // Values outside the box (not finite ones) are clamped, so that
            // no NaN or out-of-range number reaches the integer conversion.
            fixed = fixed >= 0 ? fixed : 0;
            fixed = fixed < largest_[s] ? fixed : largest_[s];
            std::uint64_t bits = static_cast<std::uint64_t>(fixed);
            const bool negative = value < 0;
            bits = negative ? mask_[s] - bits : bits;
            key |= std::uint64_t{!negative} << (63 - s);
            key |= Interleave(bits) << shift_[s];
        }
        return key;
    }

private:
    std::uint64_t Interleave(std::uint64_t bits) const {
        return count_ == 3 ? Spread3(bits) : count_ == 2 ? Spread2(bits) : bits;
    }

    int count_ = 0;
    int axis_[3] = {0, 0, 0};
    int bits_[3] = {0, 0, 0};
    int shift_[3] = {0, 0, 0};
    std::uint64_t mask_[3] = {0, 0, 0};
    double largest_[3] = {0, 0, 0};
    double base_[3] = {0, 0, 0};
    double scale_[3][2] = {};
};

}  // namespace zorder
}  // namespace lxbase

#endif
