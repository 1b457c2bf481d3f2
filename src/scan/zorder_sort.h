// Sorting points into the Z-order (Morton order) that
// tBaseXYZPoint<double>::operator< defines.
//
// Calling operator< n log n times costs seconds for a few million points, so
// the sort first orders the points by a 63-bit Morton key. For points without
// a zero coordinate the key agrees with operator< wherever the points differ
// above its resolution (20 binary levels below the highest level in which
// any two points differ); a group of equal keys is keyed again within its own
// box, and what remains is ordered by operator< itself.
//
// A zero coordinate is different: operator< weighs it by frexp's exponent 0,
// as if it were 0.5, but orders it as 0, which no key can mimic. Points with
// a zero coordinate are therefore sorted by operator< alone (a natural merge
// sort, from the key order) and merged in.
#ifndef LXSCAN_SRC_ZORDER_SORT_H
#define LXSCAN_SRC_ZORDER_SORT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "scan_internal.h"

namespace lxscan {

class Progress;

// Key: one sign bit per axis (x, y, z; set for non-negative), then the
// coordinates' magnitudes as 20-bit fixed-point numbers, interleaved x, y, z
// from the top bit down. The 20 bits are the binary levels just below the
// highest level at which the box's coordinates differ on any axis: the bits
// above it are the same for every point, so a scan far from the origin (a
// survey in map coordinates) keeps the full resolution. Negative magnitudes
// are inverted, so larger magnitudes order first.
class ZOrderKey {
public:
    // box: the bounding box of all points to be keyed.
    explicit ZOrderKey(const Box& box);
    std::uint64_t operator()(const lxbase::tBaseXYZPoint<double>& p) const;

private:
    std::uint32_t Fixed(double value) const;
    double scale_;
};

// The first position i of the order whose point is less (by operator<) than
// the point at i - 1; n if every neighbouring pair is in order.
std::size_t FirstZOrderBreak(const PointArray& points, const std::uint32_t* order, std::size_t n);

// Stable natural merge sort of order[0, n) by operator< of the points:
// linear on ordered input, and never out of bounds whatever the comparison
// answers. The scratch array grows to n entries if the input is not in order.
void MergeSortZOrder(const PointArray& points, std::uint32_t* order, std::size_t n, Order& scratch);

struct SortStats {
    std::uint64_t equalKeyGroups = 0;  // groups of equal keys sorted by operator< alone
    std::uint64_t largestGroup = 0;    // points in the largest of them
    std::uint64_t zeroPoints = 0;      // points with a zero coordinate
    bool fullMerge = false;            // whether the key order needed repair
};

// The Z-order of the points, which stay where they are: the i-th point in
// order is points[order[i]], and no point is less than the one before it.
// Memory beyond the order: 20 bytes a point while the sort runs.
Order SortZOrder(const PointArray& points, SortStats& stats, Progress* progress);

}  // namespace lxscan

#endif
