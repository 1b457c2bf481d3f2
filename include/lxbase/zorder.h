#ifndef LXBASE_ZORDER_H
#define LXBASE_ZORDER_H

// Bulk ordering of points along the Z-order (Morton) curve of
// tBaseXYZPoint::operator<.
//
// operator< is not transitive on every cloud: a zero coordinate takes part
// in its binary levels like 0.5 but is ordered as 0, and coordinates of both
// signs meet zeros around every scanner's origin. std::sort with it is then
// undefined behaviour. These functions never rely on transitivity: they sort
// by a Morton key, and order what the key cannot tell apart with operator<
// in ways that stay safe (and finite) whatever it answers.
//
// Guarantees, on every input (zeros, -0.0, both signs, infinities, NaN,
// denormals):
//   - the result is a permutation of the input;
//   - no point is less than the one before it: !(p[i] < p[i - 1]);
//   - where operator< is a strict weak order on the points (for example all
//     coordinates finite and non-zero), the result is exactly that of
//     std::stable_sort with operator<: equal points keep their input order;
//   - the result depends on the input only (no threads, no randomness).
// Working memory: at most 16 bytes a point beyond the input and the result
// (clouds of 2^32 - 1 points or more need 64-bit indices: up to 20 bytes).

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lxbase/export.h"
#include "lxbase/points.h"

namespace lxbase {

/// Reorders points[0, n) along the Z-order of operator<: afterwards no point is
/// less than the one before it (guarantees above).
LXBASE_API void SortZOrder(tBaseXYZPoint<double>* points, std::size_t n);
/// Reorders float points[0, n) like the double form.
LXBASE_API void SortZOrder(tBaseXYZPoint<float>* points, std::size_t n);

/// The same order as a permutation; the points are not touched:
/// points[order[i]] is the i-th point in Z-order.
LXBASE_API std::vector<std::size_t> ZOrderPermutation(const tBaseXYZPoint<double>* points, std::size_t n);
/// The permutation of float points, like the double form.
LXBASE_API std::vector<std::size_t> ZOrderPermutation(const tBaseXYZPoint<float>* points, std::size_t n);

/// The same for points that lie strideBytes apart, such as positions inside
/// larger records: point i is the tBaseXYZPoint at byte offset i * strideBytes
/// from first. Throws std::invalid_argument if strideBytes is smaller than a
/// point or not a multiple of the coordinate size.
LXBASE_API std::vector<std::size_t> ZOrderPermutation(const tBaseXYZPoint<double>* first, std::size_t n,
                                                      std::size_t strideBytes);
/// The strided permutation of float points, like the double form.
LXBASE_API std::vector<std::size_t> ZOrderPermutation(const tBaseXYZPoint<float>* first, std::size_t n,
                                                      std::size_t strideBytes);
/// The strided permutation written as 32-bit indices into order[0, n), for
/// large clouds where the result's memory counts (4 bytes a point instead of
/// 8): order[i] is the index of the i-th point in Z-order. Throws
/// std::invalid_argument as the strided form does (also for a null order
/// with points), and std::length_error if n is 2^32 - 1 or more.
LXBASE_API void ZOrderPermutation(const tBaseXYZPoint<double>* first, std::size_t n, std::size_t strideBytes,
                                  std::uint32_t* order);
/// The 32-bit permutation of float points, like the double form.
LXBASE_API void ZOrderPermutation(const tBaseXYZPoint<float>* first, std::size_t n, std::size_t strideBytes,
                                  std::uint32_t* order);

}  // namespace lxbase

#endif
