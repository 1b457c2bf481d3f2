#include <lxscan/exporters.h>
#include <lxscan/scan_reader.h>

#include "scan_file.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include <png.h>

#include "output_file.h"
#include "progress.h"

namespace lxscan {

namespace {

// Light from the north-west, high above.
double Shade(const lxbase::HNormalRGB& attributes) {
    if (attributes.GetNormalCode() == 0) return 1.0;
    const lxbase::tBaseXYZPoint<float> n = attributes.GetNormal();
    const double light[3] = {-0.36, 0.48, 0.8};
    const double lit = (light[0] * n.x + light[1] * n.y) + light[2] * n.z;
    return 0.45 + 0.55 * std::max(0.0, lit);
}

bool FacesDown(const lxbase::HNormalRGB& attributes) {
    return attributes.GetNormalCode() != 0 && attributes.GetNormal().z < -0.2f;
}

constexpr std::uint32_t kEmpty = std::numeric_limits<std::uint32_t>::max();

// Far from the scanner the points lie further apart than pixels: an empty
// pixel takes the highest point of its eight neighbours, once per pass, so
// gaps up to twice the passes wide close while shadows stay.
void FillGaps(std::vector<std::uint32_t>& top, const ImageSize& size, const PointArray& points,
              int passes) {
    std::vector<std::uint32_t> before;
    for (int pass = 0; pass < passes; ++pass) {
        before = top;
        for (unsigned row = 0; row < size.height; ++row) {
            for (unsigned column = 0; column < size.width; ++column) {
                std::uint32_t& cell = top[std::size_t{row} * size.width + column];
                if (cell != kEmpty) continue;
                for (int dr = -1; dr <= 1; ++dr) {
                    for (int dc = -1; dc <= 1; ++dc) {
                        const long r = long(row) + dr, c = long(column) + dc;
                        if (r < 0 || c < 0 || r >= long(size.height) || c >= long(size.width)) continue;
                        const std::uint32_t near = before[std::size_t(r) * size.width + std::size_t(c)];
                        if (near != kEmpty && (cell == kEmpty || points[cell].position.z < points[near].position.z))
                            cell = near;
                    }
                }
            }
        }
    }
}

// Pixels across an extent, 1 to longSide also for extents that overflow.
unsigned Pixels(double extent, double pixel, unsigned longSide) {
    const double n = std::ceil(extent / pixel);
    if (!(n >= 1.0)) return 1;
    return n < longSide ? static_cast<unsigned>(n) : longSide;
}

}  // namespace

namespace {

ImageSize WriteTopView(const std::string& path, const PointArray& points, const Box& box,
                       unsigned longSide) {
    const double dx = box.max[0] - box.min[0], dy = box.max[1] - box.min[1];
    const double extent = std::max(dx, dy);
    const double pixel = extent > 0.0 ? extent / longSide : 1.0;
    const ImageSize size{Pixels(dx, pixel, longSide), Pixels(dy, pixel, longSide)};
    const std::size_t pixels = std::size_t{size.width} * size.height;

    // Highest visible point of each pixel.
    std::vector<std::uint32_t> top(pixels, kEmpty);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const ScanPoint& p = points[i];
        if (FacesDown(p.attributes)) continue;
        const double column = std::floor((p.position.x - box.min[0]) / pixel);
        const double row = std::floor((box.max[1] - p.position.y) / pixel);
        if (!(column >= 0 && row >= 0)) continue;
        const std::size_t cell = static_cast<std::size_t>(std::min(row, size.height - 1.0)) * size.width +
                                 static_cast<std::size_t>(std::min(column, size.width - 1.0));
        if (top[cell] == kEmpty || points[top[cell]].position.z < p.position.z)
            top[cell] = static_cast<std::uint32_t>(i);
    }
    FillGaps(top, size, points, 2);
    double low = std::numeric_limits<double>::infinity(), high = -low;
    for (std::uint32_t index : top) {
        if (index == kEmpty) continue;
        low = std::min(low, points[index].position.z);
        high = std::max(high, points[index].position.z);
    }

    std::vector<unsigned char> image(pixels * 3);
    for (std::size_t cell = 0; cell < pixels; ++cell) {
        unsigned char* rgb = &image[cell * 3];
        if (top[cell] == kEmpty) {
            rgb[0] = 24, rgb[1] = 24, rgb[2] = 28;
            continue;
        }
        const ScanPoint& p = points[top[cell]];
        const float height = high > low ? static_cast<float>((p.position.z - low) / (high - low)) : 0.0f;
        const lxbase::t_RGBType<unsigned char> colour = lxbase::t_RGBType<unsigned char>::GetColor(height);
        const double shade = Shade(p.attributes);
        rgb[0] = static_cast<unsigned char>(colour.r * shade);
        rgb[1] = static_cast<unsigned char>(colour.g * shade);
        rgb[2] = static_cast<unsigned char>(colour.b * shade);
    }

    AtomicOutput file(path);
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = size.width;
    png.height = size.height;
    png.format = PNG_FORMAT_RGB;
    if (png_image_write_to_stdio(&png, file.Stdio(), 0, image.data(), 0, nullptr) == 0)
        throw ScanError(path + ": cannot write the image: " + png.message);
    file.Commit();
    return size;
}

}  // namespace

ImageSize ExportTopView(ScanReader& scan, const std::string& path, unsigned longSide) {
    if (longSide < 1 || longSide > 16384) throw ScanError(path + ": image size " + std::to_string(longSide) + ": 1 to 16384");
    PointArray points(static_cast<std::size_t>(scan.Count()));
    std::vector<unsigned char> records(RecordFile::kChunk * scan.RecordSize());
    for (std::uint64_t first = 0; first < scan.Count(); first += RecordFile::kChunk) {
        const std::uint64_t n = std::min<std::uint64_t>(RecordFile::kChunk, scan.Count() - first);
        scan.ReadRecords(first, n, records.data());
        for (std::uint64_t i = 0; i < n; ++i)
            DecodeRecord(&records[i * scan.RecordSize()], scan.Header().coordinateBytes, points[first + i]);
    }
    return WriteTopView(path, points, scan.Header().box, longSide);
}

PngCheck CheckPng(const std::string& path) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    // libpng frees the image on its own errors; this covers ours.
    struct Release {
        png_image& image;
        ~Release() { png_image_free(&image); }
    } release{png};
    if (png_image_begin_read_from_file(&png, path.c_str()) == 0)
        throw ScanError(path + ": not a readable PNG: " + png.message);
    png.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> image(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, image.data(), 0, nullptr) == 0)
        throw ScanError(path + ": not a readable PNG: " + png.message);
    PngCheck check;
    check.size = ImageSize{png.width, png.height};
    std::vector<bool> seen(std::size_t{1} << 24);
    for (std::size_t i = 0; i + 2 < image.size(); i += 3) {
        if (std::memcmp(&image[i], &image[0], 3) != 0) ++check.drawnPixels;
        const std::size_t colour = (std::size_t{image[i]} << 16) | (std::size_t{image[i + 1]} << 8) | image[i + 2];
        if (!seen[colour]) {
            seen[colour] = true;
            ++check.colours;
        }
    }
    if (check.drawnPixels == 0) {
        char colour[8] = "";
        if (image.size() >= 3) std::snprintf(colour, sizeof colour, "#%02x%02x%02x", image[0], image[1], image[2]);
        throw ScanError(path + ": blank image: all " + std::to_string(png.width) + " x " +
                        std::to_string(png.height) + " pixels are " + colour);
    }
    return check;
}

}  // namespace lxscan
