#include "zorder_sort.h"

#include <cstdint>

#include <lxbase/zorder.h>

namespace lxscan {

Order SortZOrder(const PointArray& points) {
    const std::size_t n = points.size();
    // A scan names its points with 32-bit indices, which halves the order's
    // memory against the library's std::size_t permutation.
    if (n >= UINT32_MAX) throw ScanError("too many points for one scan: " + std::to_string(n));
    Order order(n);
    if (n != 0) lxbase::ZOrderPermutation(&points[0].position, n, sizeof(ScanPoint), order.data());
    return order;
}

}  // namespace lxscan
