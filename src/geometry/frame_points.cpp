// The array forms of the point mappings: blocks of points through the vector
// loop of frame_kernels.h, two points a block with SSE2 (every x86-64) or four
// with AVX where the processor and the operating system support it; the
// points left over at the end, and every point on other processors, through
// the per-point mapping.
#include "lxmath/frame.h"

#if defined(__x86_64__)
#include "frame_kernels.h"
#endif

namespace lxmath {
namespace {

template <bool Back>
void MapEach(const Frame& frame, const double* xyz, double* out, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i, xyz += 3, out += 3) {
        const Vec3<double> p(xyz[0], xyz[1], xyz[2]);
        const Vec3<double> q = Back ? frame.BackPropagatePoint(p) : frame.PropagatePoint(p);
        out[0] = q[0];
        out[1] = q[1];
        out[2] = q[2];
    }
}

#if defined(__x86_64__)

bool HasAvx() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx");
}

template <bool Back>
std::size_t MapVectorised(const Frame& frame, const double* xyz, double* out, std::size_t n) {
    static const bool avx = HasAvx();
    const double* m = &frame(0, 0);
    if (avx) return Back ? BackPropagateBlocksAvx(m, xyz, out, n) : PropagateBlocksAvx(m, xyz, out, n);
    return MapBlocks<Sse2, Back>(m, xyz, out, n);
}

#else

template <bool Back>
std::size_t MapVectorised(const Frame&, const double*, double*, std::size_t) {
    return 0;
}

#endif

template <bool Back>
void Map(const Frame& frame, const double* xyz, double* out, std::size_t n) {
    const std::size_t done = MapVectorised<Back>(frame, xyz, out, n);
    MapEach<Back>(frame, xyz + 3 * done, out + 3 * done, n - done);
}

}  // namespace

void Frame::PropagatePoints(const double* xyz, double* out, std::size_t n) const { Map<false>(*this, xyz, out, n); }

void Frame::BackPropagatePoints(const double* xyz, double* out, std::size_t n) const { Map<true>(*this, xyz, out, n); }

}  // namespace lxmath
