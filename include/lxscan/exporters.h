// Views of a scan file for other tools and for people: point text and a
// PNG top view. (PLY: <lxscan/ply.h>.)
#ifndef LXSCAN_EXPORTERS_H
#define LXSCAN_EXPORTERS_H

#include <cstdint>
#include <string>

#include <lxscan/export.h>
#include <lxscan/types.h>

namespace lxscan {

class ScanReader;

// Writes the points as text, one a line in the file's order: x y z with
// the digits that give the coordinate back exactly, then r g b (XyzRgb,
// XyzRgbNormal) and nx ny nz (XyzNormal, XyzRgbNormal; the decoded normal).
// Auto: xyzrgbnormal when the scan has normals, else xyzrgb.
LXSCAN_API void ExportText(ScanReader& scan, const std::string& path, TextFormat format = TextFormat::Auto,
                           const ProgressCallback& progress = {});

struct ImageSize {
    unsigned width = 0;
    unsigned height = 0;
};

// The scan seen from above, north up, longSide pixels along the longer side
// of the box: each pixel shows its highest point, coloured by height with
// the colour ramp and shaded by the normal. Points whose normal faces down
// (a ceiling seen from above) are left out.
LXSCAN_API ImageSize ExportTopView(ScanReader& scan, const std::string& path, unsigned longSide = 1024);

struct PngCheck {
    ImageSize size;
    std::uint64_t drawnPixels = 0;  // pixels unlike the top-left one
    std::uint64_t colours = 0;      // distinct colours
};

// Reads a PNG; throws ScanError when it cannot be read or is blank.
LXSCAN_API PngCheck CheckPng(const std::string& path);

}  // namespace lxscan

#endif
