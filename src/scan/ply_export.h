// Binary PLY export of the example program, kept until the PLY module
// replaces it (internal).
#ifndef LXSCAN_SRC_PLY_EXPORT_H
#define LXSCAN_SRC_PLY_EXPORT_H

#include <string>

#include "scan_internal.h"

namespace lxscan {

// Binary little-endian PLY of the points in the given order: x y z float,
// red green blue uchar, intensity uchar, nx ny nz float (the decoded normal
// code; 0 0 0 for none). Coordinates beyond the range of float are written
// as infinities.
void WritePly(const std::string& path, const PointArray& points, const Order& order, const ProgressCallback& progress);

}  // namespace lxscan

#endif
