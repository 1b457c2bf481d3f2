// Binary little-endian PLY of points in a given order (kept from the
// example program until the PLY module replaces it; internal).
#include "ply_export.h"

#include <cstring>
#include <limits>

#include "output_file.h"
#include "progress.h"

namespace lxscan {

namespace {

constexpr std::size_t kPlyRecord = 28;

std::string PlyHeader(std::uint64_t count) {
    return "ply\n"
           "format binary_little_endian 1.0\n"
           "comment written by scan_roundtrip (lxbase)\n"
           "element vertex " + std::to_string(count) + "\n"
           "property float x\nproperty float y\nproperty float z\n"
           "property uchar red\nproperty uchar green\nproperty uchar blue\n"
           "property uchar intensity\n"
           "property float nx\nproperty float ny\nproperty float nz\n"
           "end_header\n";
}

// PLY coordinates are floats; beyond their range a coordinate becomes an
// infinity (a plain conversion would be undefined there).
float ToFloat(double v) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    if (v > kLargest) return std::numeric_limits<float>::infinity();
    if (v < -kLargest) return -std::numeric_limits<float>::infinity();
    return static_cast<float>(v);
}

void EncodePly(const ScanPoint& point, char* out) {
    const float position[3] = {ToFloat(point.position.x), ToFloat(point.position.y), ToFloat(point.position.z)};
    const lxbase::HNormalRGB& a = point.attributes;
    const unsigned char colour[4] = {a.Red(), a.Green(), a.Blue(), a.Intensity()};
    const lxbase::tBaseXYZPoint<float> normal = a.GetNormal();
    std::memcpy(out, position, 12);
    std::memcpy(out + 12, colour, 4);
    std::memcpy(out + 16, normal.ToArray(), 12);
}

}  // namespace

void WritePly(const std::string& path, const PointArray& points, const Order& order, const ProgressCallback& progress) {
    AtomicOutput file(path);
    BufferedOutput out(file);
    const std::string header = PlyHeader(points.size());
    out.Append(header.data(), header.size());
    Progress shown("writing PLY", progress);
    for (std::size_t i = 0; i < points.size(); ++i) {
        EncodePly(points[order[i]], out.Reserve(kPlyRecord));
        out.Advance(kPlyRecord);
        if ((i & 0xFFFF) == 0) shown.Update(static_cast<double>(i) / points.size());
    }
    out.Flush();
    file.Commit();
}

}  // namespace lxscan
