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

#ifdef __SSE2__
#include <emmintrin.h>
#endif

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

// Interleaving: moving bit k of a value to bit kAxes * k, in five
// shift-or-mask steps (values below 2^21 for three axes, 2^32 for two).
struct SpreadStep {
    int shift;
    std::uint64_t mask;
};
constexpr SpreadStep kSpreadSteps[2][5] = {
    {{16, 0x0000FFFF0000FFFFull},
     {8, 0x00FF00FF00FF00FFull},
     {4, 0x0F0F0F0F0F0F0F0Full},
     {2, 0x3333333333333333ull},
     {1, 0x5555555555555555ull}},
    {{32, 0x1F00000000FFFFull},
     {16, 0x1F0000FF0000FFull},
     {8, 0x100F00F00F00F00Full},
     {4, 0x10C30C30C30C30C3ull},
     {2, 0x1249249249249249ull}},
};

template <int kAxes>
inline std::uint64_t Spread(std::uint64_t v) {
    if (kAxes < 2) return v;
#pragma GCC unroll 5
    for (const SpreadStep& step : kSpreadSteps[kAxes - 2]) v = (v | v << step.shift) & step.mask;
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
        switch (count_) {
            case 3: return Key<3>(v);
            case 2: return Key<2>(v);
            case 1: return Key<1>(v);
            default: return 0;
        }
    }

    // The key for a box of kAxes keyed axes (kAxes == Axes()): the same
    // steps with the loop unrolled, for callers that key many points.
    template <int kAxes>
    std::uint64_t Key(const double v[3]) const {
        std::uint64_t key = 0;
#pragma GCC unroll 3
        for (int s = 0; s < kAxes; ++s) {
            const double value = v[axis_[s]];
            // Exact: the value and the base share every bit they both have
            // above 2^top, and the scales are powers of two.
            double fixed = ((std::fabs(value) - base_[s]) * scale_[s][0]) * scale_[s][1];
            // Values outside the box (not finite ones) are clamped, so that
            // no NaN or out-of-range number reaches the integer conversion.
            fixed = Clamp(fixed, largest_[s]);
            // Below 2^63 after the clamp, so the signed conversion is exact.
            std::uint64_t bits = static_cast<std::uint64_t>(static_cast<std::int64_t>(fixed));
            const std::uint64_t negative = value < 0;
            bits = negative ? mask_[s] - bits : bits;
            key |= (negative ^ 1) << (63 - s);
            key |= Spread<kAxes>(bits) << shift_[s];
        }
        return key;
    }

    // Key<kAxes> of two points at once, for kAxes 2 or 3, where each axis's
    // fixed-point value has at most 31 bits: the same operations on both
    // points side by side, so both keys equal Key<kAxes>'s bit for bit.
    template <int kAxes>
    void KeyPair(const double a[3], const double b[3], std::uint64_t& keyA, std::uint64_t& keyB) const {
        static_assert(kAxes == 2 || kAxes == 3, "KeyPair keys two or three axes");
#ifdef __SSE2__
        const __m128d magnitude = _mm_castsi128_pd(_mm_set1_epi64x(0x7FFFFFFFFFFFFFFF));
        const __m128d zero = _mm_setzero_pd();
        __m128i key = _mm_setzero_si128();
#pragma GCC unroll 3
        for (int s = 0; s < kAxes; ++s) {
            const __m128d value = _mm_set_pd(b[axis_[s]], a[axis_[s]]);
            __m128d fixed = _mm_sub_pd(_mm_and_pd(value, magnitude), _mm_set1_pd(base_[s]));
            fixed = _mm_mul_pd(_mm_mul_pd(fixed, _mm_set1_pd(scale_[s][0])), _mm_set1_pd(scale_[s][1]));
            // maxpd returns its second operand (0) for a NaN, as Clamp does.
            fixed = _mm_min_pd(_mm_max_pd(fixed, zero), _mm_set1_pd(largest_[s]));
            // Below 2^31 after the clamp: the 32-bit truncation is exact.
            __m128i bits = _mm_unpacklo_epi32(_mm_cvttpd_epi32(fixed), _mm_setzero_si128());
            const __m128i negative = _mm_castpd_si128(_mm_cmplt_pd(value, zero));
            const __m128i flipped = _mm_sub_epi64(_mm_set1_epi64x(static_cast<long long>(mask_[s])), bits);
            bits = _mm_or_si128(_mm_and_si128(negative, flipped), _mm_andnot_si128(negative, bits));
            const __m128i signBit = _mm_set1_epi64x(static_cast<long long>(std::uint64_t{1} << (63 - s)));
            key = _mm_or_si128(key, _mm_andnot_si128(negative, signBit));
            key = _mm_or_si128(key, _mm_sll_epi64(SpreadPair<kAxes>(bits), _mm_cvtsi32_si128(shift_[s])));
        }
        alignas(16) std::uint64_t out[2];
        _mm_store_si128(reinterpret_cast<__m128i*>(out), key);
        keyA = out[0];
        keyB = out[1];
#else
        keyA = Key<kAxes>(a);
        keyB = Key<kAxes>(b);
#endif
    }

private:
#ifdef __SSE2__
    // Spread<kAxes> on both 64-bit lanes.
    template <int kAxes>
    static __m128i SpreadPair(__m128i v) {
#pragma GCC unroll 5
        for (const SpreadStep& step : kSpreadSteps[kAxes - 2]) {
            const __m128i shifted = _mm_sll_epi64(v, _mm_cvtsi32_si128(step.shift));
            v = _mm_and_si128(_mm_or_si128(v, shifted), _mm_set1_epi64x(static_cast<long long>(step.mask)));
        }
        return v;
    }
#endif

    // fixed within [0, largest]; NaN gives 0. Without branches: keys are
    // made for millions of points whose signs and sizes come at random.
    static double Clamp(double fixed, double largest) {
#ifdef __SSE2__
        // maxsd returns its second operand when either is NaN.
        const __m128d low = _mm_max_sd(_mm_set_sd(fixed), _mm_setzero_pd());
        return _mm_cvtsd_f64(_mm_min_sd(low, _mm_set_sd(largest)));
#else
        fixed = fixed >= 0 ? fixed : 0;
        return fixed < largest ? fixed : largest;
#endif
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
