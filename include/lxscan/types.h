// Types shared by the scan file module: its error, the bounding box, the
// progress callback and the column layouts of point text.
#ifndef LXSCAN_TYPES_H
#define LXSCAN_TYPES_H

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <lxscan/export.h>

namespace lxscan {

// Every failure of the module: the message names the file and the line or
// byte position where that makes sense ("points.txt:12: ..." or
// "scan.lxs: byte 240: ...").
class LXSCAN_API ScanError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Axis-aligned bounding box in the parent coordinate system.
struct Box {
    double min[3] = {0, 0, 0};
    double max[3] = {0, 0, 0};
};

// Called at most ten times a second during a stage with the stage's name
// ("reading", "sorting", "writing", "verifying") and the fraction done, 0..1,
// and with fraction 1 when the stage ends. It runs on the calling thread; an
// exception it throws ends the operation.
using ProgressCallback = std::function<void(const char* stage, double fraction)>;

// Columns of a point text file.
enum class TextFormat { Auto, Xyz, XyzRgb, XyzNormal, XyzRgbNormal };

// "auto", "xyz", "xyzrgb", "xyznormal", "xyzrgbnormal"; false for others.
LXSCAN_API bool ParseFormatName(std::string_view name, TextFormat& format);
LXSCAN_API const char* FormatName(TextFormat format);
// The column names, e.g. "x y z nx ny nz".
LXSCAN_API const char* FormatColumns(TextFormat format);

}  // namespace lxscan

#endif
