#ifndef LXBASE_SRC_FRAME_KERNELS_H
#define LXBASE_SRC_FRAME_KERNELS_H

// The vector loop of the array point mappings (Frame::PropagatePoints and
// Frame::BackPropagatePoints), shared by the baseline and the AVX build of it.
// A block of interleaved x y z points is loaded, split into one vector of x,
// one of y and one of z, mapped with one vector step per step of the
// per-point mapping (a lane per point; the steps, their order and their
// operand order exactly those of PropagatePoint and BackPropagatePoint), then
// interleaved again. Ops supplies the vector type V, kPoints points per block,
// Broadcast, the steps Mul, Add and Sub as single instructions that the
// compiler cannot contract, regroup or commute, and Load and Store.
//
// Everything here has internal linkage: the AVX build of this file must not
// lend a definition to code that runs on any x86-64.

#include <cstddef>

#include <emmintrin.h>

namespace lxmath {
namespace {

// Row i of R times p, then the translation: ((m_i0 x + m_i1 y) + m_i2 z) + m_i3.
template <typename Ops>
inline typename Ops::V RowPlusOrigin(const typename Ops::V* m, int i, typename Ops::V x, typename Ops::V y,
                                     typename Ops::V z) {
    const typename Ops::V sum =
        Ops::Add(Ops::Add(Ops::Mul(m[4 * i], x), Ops::Mul(m[4 * i + 1], y)), Ops::Mul(m[4 * i + 2], z));
    return Ops::Add(sum, m[4 * i + 3]);
}

// Column i of R times d: (m_0i d0 + m_1i d1) + m_2i d2.
template <typename Ops>
inline typename Ops::V Column(const typename Ops::V* m, int i, typename Ops::V x, typename Ops::V y,
                              typename Ops::V z) {
    return Ops::Add(Ops::Add(Ops::Mul(m[i], x), Ops::Mul(m[4 + i], y)), Ops::Mul(m[8 + i], z));
}

// PropagatePoint, or BackPropagatePoint (d = p - o first), on vectors.
template <typename Ops, bool Back>
inline void MapVectors(const typename Ops::V* m, typename Ops::V& x, typename Ops::V& y, typename Ops::V& z) {
    using V = typename Ops::V;
    if (Back) {
        const V dx = Ops::Sub(x, m[3]), dy = Ops::Sub(y, m[7]), dz = Ops::Sub(z, m[11]);
        x = Column<Ops>(m, 0, dx, dy, dz);
        y = Column<Ops>(m, 1, dx, dy, dz);
        z = Column<Ops>(m, 2, dx, dy, dz);
    } else {
        const V px = x, py = y, pz = z;
        x = RowPlusOrigin<Ops>(m, 0, px, py, pz);
        y = RowPlusOrigin<Ops>(m, 1, px, py, pz);
        z = RowPlusOrigin<Ops>(m, 2, px, py, pz);
    }
}

// Maps the whole blocks of Ops::kPoints points among the n at xyz with the 12
// frame values `frame` (row-major 3 x 4) and returns how many points it
// mapped. Each block is loaded completely before it is stored, so out may be
// xyz.
template <typename Ops, bool Back>
inline std::size_t MapBlocks(const double* frame, const double* xyz, double* out, std::size_t n) {
    using V = typename Ops::V;
    V m[12];
    for (int k = 0; k < 12; ++k) m[k] = Ops::Broadcast(frame[k]);
    const std::size_t blocks = n / Ops::kPoints;
    for (std::size_t b = 0; b < blocks; ++b, xyz += 3 * Ops::kPoints, out += 3 * Ops::kPoints) {
        V x, y, z;
        Ops::Load(xyz, x, y, z);
        MapVectors<Ops, Back>(m, x, y, z);
        Ops::Store(out, x, y, z);
    }
    return blocks * Ops::kPoints;
}

// The baseline build, two points a block: the loads [x0 y0] [z0 x1] [y1 z1]
// are split by three shuffles and joined again by three more.
struct Sse2 {
    using V = __m128d;
    static constexpr std::size_t kPoints = 2;
    static V Broadcast(double v) { return _mm_set1_pd(v); }
    static V Mul(V a, V b) {
        __asm__("mulpd %1, %0" : "+x"(a) : "x"(b));
        return a;
    }
    static V Add(V a, V b) {
        __asm__("addpd %1, %0" : "+x"(a) : "x"(b));
        return a;
    }
    static V Sub(V a, V b) {
        __asm__("subpd %1, %0" : "+x"(a) : "x"(b));
        return a;
    }
    static void Load(const double* p, V& x, V& y, V& z) {
        const V a = _mm_loadu_pd(p), b = _mm_loadu_pd(p + 2), c = _mm_loadu_pd(p + 4);
        x = _mm_shuffle_pd(a, b, 2);
        y = _mm_shuffle_pd(a, c, 1);
        z = _mm_shuffle_pd(b, c, 2);
    }
    static void Store(double* p, V x, V y, V z) {
        _mm_storeu_pd(p, _mm_shuffle_pd(x, y, 0));
        _mm_storeu_pd(p + 2, _mm_shuffle_pd(z, x, 2));
        _mm_storeu_pd(p + 4, _mm_shuffle_pd(y, z, 3));
    }
};

}  // namespace

// The AVX build (frame_points_avx.cpp, four points a block); call only where
// the processor and the operating system support AVX.
std::size_t PropagateBlocksAvx(const double* frame, const double* xyz, double* out, std::size_t n);
std::size_t BackPropagateBlocksAvx(const double* frame, const double* xyz, double* out, std::size_t n);

}  // namespace lxmath

#endif
