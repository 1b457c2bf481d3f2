#ifndef LXBASE_SRC_COLOUR_NORMAL_CODE_H
#define LXBASE_SRC_COLOUR_NORMAL_CODE_H

// The cube-map normal code behind HNormalRGB: the table built at load time and
// the two encoders (the step-by-step atanf one and the threshold search that
// gives the same codes). Private to the library: its tests and benchmarks reach
// it by linking the library's objects.

#include <cmath>
#include <cstdint>

#include "lxbase/hnormal_rgb.h"
#include "lxbase/points.h"

namespace lxbase {
namespace detail {

constexpr std::uint32_t kNormalCodeBits = 14;
constexpr std::uint32_t kNormalCodeSpace = std::uint32_t{1} << kNormalCodeBits;  // 16384
constexpr std::uint32_t kNormalCodeMask = kNormalCodeSpace - 1;                  // 0x3FFF

constexpr std::uint32_t IntegerSquareRoot(std::uint32_t n) {
    std::uint32_t root = 0;
    while ((root + 1) * (root + 1) <= n) ++root;
    return root;
}

// Cells along each edge of a cube face: the largest N with 6·N² codes beside
// code 0 in the code space, lowered to an even number so that N/2 cells lie on
// each side of a face's centre and no cell is centred on it.
constexpr std::uint32_t GridSizeFor(std::uint32_t codeBits) {
    const std::uint32_t root = IntegerSquareRoot(((std::uint32_t{1} << codeBits) - 1) / 6);
    return root % 2 == 0 ? root : root - 1;
}

constexpr std::uint32_t kGridSize = GridSizeFor(kNormalCodeBits);
constexpr int kHalfGrid = static_cast<int>(kGridSize / 2);
constexpr int kLastCell = static_cast<int>(kGridSize) - 1;
constexpr std::uint32_t kNormalCount = 6 * kGridSize * kGridSize + 1;
static_assert(kGridSize == 52, "52 cells along a face edge");
static_assert(kNormalCount == HNormalRGB::sLargestNormalCode + 1u && kNormalCount <= kNormalCodeSpace,
              "codes fit in 14 bits");

// π/4 and π/2 rounded to single precision (bit patterns 0x3F490FDB, 0x3FC90FDB).
constexpr float kQuarterPi = 0.78539819f;
constexpr double kHalfPiSingle = 1.5707963705062866;
static_assert(kHalfPiSingle == static_cast<double>(2.0f * kQuarterPi), "π/2 in float, widened");

// Per face: dominant axis, axis of the first cell index, axis of the second
// (0 = x, 1 = y, 2 = z). The in-face axes swap between the +/− face of an axis.
constexpr int kFaceAxes[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0},
                                 {1, 0, 2}, {2, 0, 1}, {2, 1, 0}};
constexpr int kFaceSign[6] = {+1, -1, +1, -1, +1, -1};

// Slots of the threshold search: a power of two above the 51 thresholds.
constexpr int kThresholdSlots = 64;

// Quotients in [−1, 1], the range of every in-face quotient of a finite
// non-zero normal, fall into kQuotientBuckets + 1 buckets of width
// 1/kQuotientBucketsPerUnit; a cell is wider than a bucket, so a bucket holds
// at most one threshold.
constexpr float kQuotientBucketsPerUnit = 64.0f;
constexpr int kQuotientBuckets = 128;

// Bucket of a quotient in [−1, 1]: monotonic in the quotient (one rounded
// addition and an exact scaling by a power of two), 0..kQuotientBuckets.
inline int QuotientBucket(float quotient) noexcept {
    return static_cast<int>((quotient + 1.0f) * kQuotientBucketsPerUnit);
}

struct NormalCodeTable {
    std::uint32_t gridSize;
    float angleScale;  // N / (π/2), rounded to single precision
    // Indexed by normal code. Only the first kNormalCount entries are cells;
    // the storage covers the whole 14-bit code space so that a lookup of any
    // code stays inside it, the codes beyond the cells keeping (0, 0, 0).
    float normals[kNormalCodeSpace][3];
    // cellThresholds[k], k = 1..N−1: the smallest float quotient whose cell
    // index (step-by-step version) is at least k. Slot 0 is unused and the
    // slots above N−1 hold NaN, which no comparison counts.
    float cellThresholds[kThresholdSlots];
    // bucketBase[b]: the number of thresholds in buckets below b, that is
    // the cell index of every quotient of bucket b below the bucket's own
    // threshold (if it has one).
    std::uint8_t bucketBase[kQuotientBuckets + 1];
};

// The library's one table; filled by the load-time initialiser, read-only
// afterwards. Hidden: code outside the library uses GetNormalCodeTable().
extern NormalCodeTable gNormalCodeTable;

const NormalCodeTable& GetNormalCodeTable() noexcept;

// Cell index of an in-face quotient, step by step: floor((double)atanf(q) ·
// angleScale) + N/2, clamped to 0..N−1; a NaN quotient gives 0.
int CellIndexStepwise(float quotient) noexcept;

// The same index as the number of thresholds at or below the quotient (the
// step-by-step index never decreases as the quotient grows, so the count is
// the index). Branch-free binary search; a NaN quotient counts nothing.
inline int CellIndexFromThresholds(const float (&thresholds)[kThresholdSlots],
                                   float quotient) noexcept {
    int index = 0;
    for (int step = kThresholdSlots / 2; step > 0; step /= 2)
        index += thresholds[index + step] <= quotient ? step : 0;
    return index;
}

// The same count for the usual quotient in [−1, 1] from its bucket: the
// thresholds of lower buckets lie below the quotient and those of higher
// buckets above it, so only the bucket's own threshold (the next one after
// the base) needs a comparison. Other quotients, NaN included, take the
// binary search.
inline int CellIndexFast(const NormalCodeTable& table, float quotient) noexcept {
    if (!(quotient >= -1.0f && quotient <= 1.0f))
        return CellIndexFromThresholds(table.cellThresholds, quotient);
    const int base = table.bucketBase[QuotientBucket(quotient)];
    return base + (table.cellThresholds[base + 1] <= quotient ? 1 : 0);
}

// The code of a normal (without the code word around it); cellIndex maps an
// in-face quotient to a cell index.
template <typename CellIndex>
std::uint16_t EncodeNormal(const tBaseXYZPoint<float>& normal, CellIndex cellIndex) {
    const float component[3] = {normal.x, normal.y, normal.z};
    // Dominant axis: a later axis wins only when strictly larger, so ties go
    // to the earlier one. Written as selections rather than branches, since
    // the dominant axis of real data is unpredictable.
    const float ax = std::fabs(normal.x), ay = std::fabs(normal.y), az = std::fabs(normal.z);
    int axis = ay > ax ? 1 : 0;
    float magnitude = ay > ax ? ay : ax;
    axis = az > magnitude ? 2 : axis;
    magnitude = az > magnitude ? az : magnitude;
    // A strict test, so −0.0 counts as non-negative.
    const int face = 2 * axis + (component[axis] < 0.0f ? 1 : 0);
    const float u = component[kFaceAxes[face][1]] / magnitude;
    const float w = component[kFaceAxes[face][2]] / magnitude;
    const int a = cellIndex(u);
    const int b = cellIndex(w);
    // At most 1 + (5·52 + 51)·52 + 51 = 16224: no 16-bit wrap.
    return static_cast<std::uint16_t>(1 + (face * static_cast<int>(kGridSize) + a) *
                                              static_cast<int>(kGridSize) + b);
}

// Code of a normal through the step-by-step index (the reference version).
std::uint16_t EncodeNormalStepwise(const tBaseXYZPoint<float>& normal) noexcept;

}  // namespace detail
}  // namespace lxbase

#endif
