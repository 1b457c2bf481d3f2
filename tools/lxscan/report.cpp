// What `lxscan info` prints: the header and statistics of a scan file, as
// text for people or JSON for programs.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "tool.h"

namespace tool {

namespace {

constexpr double kPi = 3.14159265358979323846;

double YawDegrees(const lxbase::RegistrationInformation& r) {
    return std::atan2(r.orientation.xAxis.y, r.orientation.xAxis.x) * 180.0 / kPi;
}

// A number as JSON: shortest form that reads back exactly; null when not finite.
std::string JsonNumber(double v) {
    if (!std::isfinite(v)) return "null";
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", v);
    return text;
}

std::string JsonTriple(const double* v) {
    return "[" + JsonNumber(v[0]) + ", " + JsonNumber(v[1]) + ", " + JsonNumber(v[2]) + "]";
}

std::string JsonTriple(const lxbase::XYZ& v) {
    const double values[3] = {v.x, v.y, v.z};
    return JsonTriple(values);
}

// Length of the UTF-8 sequence starting at text[i] when it is valid, else 0.
std::size_t Utf8Length(const std::string& text, std::size_t i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    std::size_t n;
    std::uint32_t code;
    if (c < 0x80) return 1;
    if (c >= 0xC2 && c <= 0xDF) n = 2, code = c & 0x1F;
    else if (c >= 0xE0 && c <= 0xEF) n = 3, code = c & 0x0F;
    else if (c >= 0xF0 && c <= 0xF4) n = 4, code = c & 0x07;
    else return 0;
    if (i + n > text.size()) return 0;
    for (std::size_t k = 1; k < n; ++k) {
        const unsigned char d = static_cast<unsigned char>(text[i + k]);
        if ((d & 0xC0) != 0x80) return 0;
        code = (code << 6) | (d & 0x3F);
    }
    const bool overlong = (n == 3 && code < 0x800) || (n == 4 && code < 0x10000);
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return overlong || surrogate || code > 0x10FFFF ? 0 : n;
}

}  // namespace

std::string JsonString(const std::string& text) {
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const std::size_t n = Utf8Length(text, i);
        if (n == 0) {
            out += "\xEF\xBF\xBD";  // U+FFFD for a byte that is not UTF-8
            ++i;
        } else if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
            ++i;
        } else if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
            ++i;
        } else {
            out.append(text, i, n);
            i += n;
        }
    }
    return out + "\"";
}

ScanStatistics Gather(lxscan::ScanReader& scan, const lxscan::ProgressCallback& progress) {
    ScanStatistics stats;
    constexpr std::size_t kChunk = 65536;
    std::vector<double> xyz(3 * kChunk);
    std::vector<std::uint8_t> intensity(kChunk);
    std::vector<std::uint16_t> codes(kChunk);
    double sum[3] = {0, 0, 0};
    const std::uint64_t count = scan.Count();
    for (std::uint64_t first = 0; first < count;) {
        const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, count - first));
        scan.Read(first, n, xyz.data(), nullptr, intensity.data(), nullptr, codes.data());
        double chunk[3] = {0, 0, 0};
        for (std::size_t i = 0; i < n; ++i) {
            for (int a = 0; a < 3; ++a) chunk[a] += xyz[3 * i + a];
            stats.withNormals += codes[i] != 0;
            stats.intensitySum += intensity[i];
            stats.intensityMin = std::min<unsigned>(stats.intensityMin, intensity[i]);
            stats.intensityMax = std::max<unsigned>(stats.intensityMax, intensity[i]);
        }
        for (int a = 0; a < 3; ++a) sum[a] += chunk[a];
        first += n;
        if (progress) progress("reading", static_cast<double>(first) / static_cast<double>(count));
    }
    for (int a = 0; a < 3; ++a) stats.centroid[a] = count ? sum[a] / static_cast<double>(count) : 0.0;
    if (count == 0) stats.intensityMin = 0;
    return stats;
}

void PrintHeaderSummary(const lxscan::ScanHeader& h) {
    std::printf("scan      id %s, taken %s\n", h.id.ToString().c_str(), h.date.c_str());
    std::printf("records   %llu points, %u bytes each, %s coordinates, colours %s, %s\n",
                static_cast<unsigned long long>(h.pointCount), h.RecordSize(),
                h.coordinateBytes == 4 ? "float" : "double", h.ColourFromInput() ? "from the input" : "by height",
                h.HasNormals() ? "with normals" : "without normals");
    const lxbase::RegistrationInformation& r = h.registration;
    std::printf("pose      origin (%.3f, %.3f, %.3f), turned %.2f deg about the vertical\n", r.translation.x,
                r.translation.y, r.translation.z, YawDegrees(r));
    std::printf("box       x %.4f .. %.4f, y %.4f .. %.4f, z %.4f .. %.4f\n", h.box.min[0], h.box.max[0],
                h.box.min[1], h.box.max[1], h.box.min[2], h.box.max[2]);
}

void PrintInfoText(lxscan::ScanReader& scan, const ScanStatistics& stats) {
    const lxscan::ScanHeader& h = scan.Header();
    std::printf("file      %s, %llu bytes, header %llu bytes, checksum 0x%016llx\n", scan.Path().c_str(),
                static_cast<unsigned long long>(scan.FileSize()),
                static_cast<unsigned long long>(scan.RecordOffset()), static_cast<unsigned long long>(h.checksum));
    PrintHeaderSummary(h);
    std::printf("centroid  (%.4f, %.4f, %.4f)\n", stats.centroid[0], stats.centroid[1], stats.centroid[2]);
    std::printf("normals   %llu of %llu points\n", static_cast<unsigned long long>(stats.withNormals),
                static_cast<unsigned long long>(h.pointCount));
    std::printf("intensity %u .. %u, mean %.2f\n", stats.intensityMin, stats.intensityMax,
                h.pointCount ? static_cast<double>(stats.intensitySum) / static_cast<double>(h.pointCount) : 0.0);
}

void PrintInfoJson(lxscan::ScanReader& scan, const ScanStatistics& stats) {
    const lxscan::ScanHeader& h = scan.Header();
    const lxbase::RegistrationInformation& r = h.registration;
    char checksum[24];
    std::snprintf(checksum, sizeof checksum, "0x%016llx", static_cast<unsigned long long>(h.checksum));
    const double mean =
        h.pointCount ? static_cast<double>(stats.intensitySum) / static_cast<double>(h.pointCount) : 0.0;
    std::printf("{\n");
    std::printf("  \"path\": %s,\n", JsonString(scan.Path()).c_str());
    std::printf("  \"file_size\": %llu,\n", static_cast<unsigned long long>(scan.FileSize()));
    std::printf("  \"header_size\": %llu,\n", static_cast<unsigned long long>(scan.RecordOffset()));
    std::printf("  \"version\": %u,\n", h.GetReadVersion());
    std::printf("  \"id\": %s,\n", JsonString(h.id.ToString()).c_str());
    std::printf("  \"date\": %s,\n", JsonString(h.date).c_str());
    std::printf("  \"points\": %llu,\n", static_cast<unsigned long long>(h.pointCount));
    std::printf("  \"coordinate_bytes\": %u,\n", h.coordinateBytes);
    std::printf("  \"record_size\": %u,\n", h.RecordSize());
    std::printf("  \"colour_from_input\": %s,\n", h.ColourFromInput() ? "true" : "false");
    std::printf("  \"has_normals\": %s,\n", h.HasNormals() ? "true" : "false");
    std::printf("  \"checksum\": \"%s\",\n", checksum);
    std::printf("  \"registration\": {\"x_axis\": %s, \"y_axis\": %s, \"z_axis\": %s, \"translation\": %s},\n",
                JsonTriple(r.orientation.xAxis).c_str(), JsonTriple(r.orientation.yAxis).c_str(),
                JsonTriple(r.orientation.zAxis).c_str(), JsonTriple(r.translation).c_str());
    std::printf("  \"bounding_box\": {\"min\": %s, \"max\": %s},\n", JsonTriple(h.box.min).c_str(),
                JsonTriple(h.box.max).c_str());
    std::printf("  \"statistics\": {\"centroid\": %s, \"with_normals\": %llu, \"intensity_min\": %u, "
                "\"intensity_max\": %u, \"intensity_mean\": %s}\n",
                JsonTriple(stats.centroid).c_str(), static_cast<unsigned long long>(stats.withNormals),
                stats.intensityMin, stats.intensityMax, JsonNumber(mean).c_str());
    std::printf("}\n");
}

}  // namespace tool
