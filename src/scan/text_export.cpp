#include <charconv>

#include <lxscan/exporters.h>
#include <lxscan/scan_reader.h>

#include "ascii_input.h"
#include "output_file.h"
#include "progress.h"
#include "scan_file.h"

namespace lxscan {

namespace {

// The shortest text that reads back as the same double: at most 24 characters.
char* PutShortest(char* out, double value) {
    out = std::to_chars(out, out + 32, value).ptr;
    *out++ = ' ';
    return out;
}

}  // namespace

void ExportText(ScanReader& scan, const std::string& path, TextFormat format, const ProgressCallback& progress) {
    if (format == TextFormat::Auto)
        format = scan.Header().HasNormals() ? TextFormat::XyzRgbNormal : TextFormat::XyzRgb;
    const bool colour = FormatHasColour(format), normal = FormatHasNormal(format);
    AtomicOutput file(path);
    BufferedOutput out(file);
    Progress shown("writing text", progress);
    const std::uint64_t chunk = RecordFile::kChunk;
    std::vector<double> xyz(3 * chunk);
    std::vector<std::uint8_t> rgb(3 * chunk);
    std::vector<float> normals(3 * chunk);
    for (std::uint64_t first = 0; first < scan.Count(); first += chunk) {
        const std::size_t n = static_cast<std::size_t>(std::min(chunk, scan.Count() - first));
        scan.Read(first, n, xyz.data(), rgb.data(), nullptr, normals.data());
        for (std::size_t i = 0; i < n; ++i) {
            char* begin = out.Reserve(256);
            char* p = begin;
            for (int axis = 0; axis < 3; ++axis) p = PutShortest(p, xyz[3 * i + axis]);
            if (colour)
                for (int c = 0; c < 3; ++c) {
                    p = std::to_chars(p, p + 4, static_cast<unsigned>(rgb[3 * i + c])).ptr;
                    *p++ = ' ';
                }
            if (normal)
                for (int axis = 0; axis < 3; ++axis) {
                    p = std::to_chars(p, p + 32, normals[3 * i + axis]).ptr;
                    *p++ = ' ';
                }
            p[-1] = '\n';
            out.Advance(static_cast<std::size_t>(p - begin));
        }
        shown.Update(static_cast<double>(first + n) / static_cast<double>(scan.Count()));
    }
    out.Flush();
    shown.Finish();
    file.Commit();
}

}  // namespace lxscan
