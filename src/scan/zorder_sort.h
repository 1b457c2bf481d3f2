// The Z-order of a scan's points, through the library's sort.
#ifndef LXSCAN_SRC_ZORDER_SORT_H
#define LXSCAN_SRC_ZORDER_SORT_H

#include "scan_internal.h"

namespace lxscan {

// The Z-order of the points, which stay where they are: the i-th point in
// order is points[order[i]], and no point is less (by operator<) than the one
// before it, whatever the coordinates (lxbase/zorder.h). Memory beyond the
// order: the sort's working memory, at most 16 bytes a point while it runs.
Order SortZOrder(const PointArray& points);

}  // namespace lxscan

#endif
