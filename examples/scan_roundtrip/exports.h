// Views of the result for other tools and for people: a binary PLY file and
// a top view as PNG, and a reader that checks such a PNG.
#ifndef SCAN_ROUNDTRIP_EXPORTS_H
#define SCAN_ROUNDTRIP_EXPORTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "scan_types.h"

namespace scan {

// Binary little-endian PLY of the points in the given order: x y z float,
// red green blue uchar, intensity uchar, nx ny nz float (the decoded normal
// code; 0 0 0 for none). Coordinates beyond the range of float are written
// as infinities.
void WritePly(const std::string& path, const PointArray& points, const Order& order, bool progress);

struct ImageSize {
    unsigned width = 0;
    unsigned height = 0;
};

// The scan seen from above, north up, longSide pixels along the longer side
// of the box: each pixel shows its highest point, coloured by height with
// the colour ramp and shaded by the normal. Points whose normal faces down
// (a ceiling seen from above) are left out.
ImageSize WriteTopView(const std::string& path, const PointArray& points, const Box& box,
                       unsigned longSide);

struct PngCheck {
    ImageSize size;
    std::uint64_t drawnPixels = 0;  // pixels unlike the top-left one
    std::uint64_t colours = 0;      // distinct colours
};

// Reads a PNG; throws ScanError when it cannot be read or is blank.
PngCheck CheckPng(const std::string& path);

}  // namespace scan

#endif
