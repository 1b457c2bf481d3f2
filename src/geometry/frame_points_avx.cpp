// The array point mappings, four points a block, for processors with AVX.
// This file alone is compiled with -mavx; the library chooses it at run time.
#if defined(__x86_64__)

#include <immintrin.h>

#include "frame_kernels.h"

namespace lxmath {
namespace {

// The two-point pattern of the baseline build in each 128-bit half: the low
// half holds points 0 and 1, the high half points 2 and 3.
struct Avx {
    using V = __m256d;
    static constexpr std::size_t kPoints = 4;
    static V Broadcast(double v) { return _mm256_set1_pd(v); }
    static V Mul(V a, V b) {
        V r;
        __asm__("vmulpd %2, %1, %0" : "=x"(r) : "x"(a), "x"(b));
        return r;
    }
    static V Add(V a, V b) {
        V r;
        __asm__("vaddpd %2, %1, %0" : "=x"(r) : "x"(a), "x"(b));
        return r;
    }
    static V Sub(V a, V b) {
        V r;
        __asm__("vsubpd %2, %1, %0" : "=x"(r) : "x"(a), "x"(b));
        return r;
    }
    // Two points from low and two from high.
    static V Pair(const double* low, const double* high) {
        return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
    }
    static void Load(const double* p, V& x, V& y, V& z) {
        const V a = Pair(p, p + 6), b = Pair(p + 2, p + 8), c = Pair(p + 4, p + 10);
        x = _mm256_shuffle_pd(a, b, 10);
        y = _mm256_shuffle_pd(a, c, 5);
        z = _mm256_shuffle_pd(b, c, 10);
    }
    static void Store(double* p, V x, V y, V z) {
        const V a = _mm256_shuffle_pd(x, y, 0), b = _mm256_shuffle_pd(z, x, 10), c = _mm256_shuffle_pd(y, z, 15);
        _mm256_storeu_pd(p, _mm256_permute2f128_pd(a, b, 0x20));
        _mm256_storeu_pd(p + 4, _mm256_permute2f128_pd(c, a, 0x30));
        _mm256_storeu_pd(p + 8, _mm256_permute2f128_pd(b, c, 0x31));
    }
};

}  // namespace

std::size_t PropagateBlocksAvx(const double* frame, const double* xyz, double* out, std::size_t n) {
    return MapBlocks<Avx, false>(frame, xyz, out, n);
}

std::size_t BackPropagateBlocksAvx(const double* frame, const double* xyz, double* out, std::size_t n) {
    return MapBlocks<Avx, true>(frame, xyz, out, n);
}

}  // namespace lxmath

#endif
