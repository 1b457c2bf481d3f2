// A scan file exported as binary PLY.
#include <algorithm>
#include <vector>

#include <lxscan/output.h>
#include <lxscan/ply.h>
#include <lxscan/scan_reader.h>

namespace lxscan {

void ExportPly(ScanReader& scan, const std::string& path, const ProgressCallback& progress) {
    CheckDistinctFiles({scan.Path()}, {path});
    const ScanHeader& header = scan.Header();
    const PlyWriteLayout layout{header.coordinateBytes == 8, true, true, header.HasNormals()};
    OutputFile out(path);
    PlyWriter writer(out, header.pointCount, layout, "written by lxscan from scan " + header.id.ToString());
    constexpr std::size_t kChunk = 65536;
    std::vector<double> xyz(3 * kChunk);
    std::vector<std::uint8_t> rgb(3 * kChunk), intensity(kChunk);
    std::vector<float> normals(layout.normals ? 3 * kChunk : 0);
    for (std::uint64_t first = 0; first < header.pointCount;) {
        const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, header.pointCount - first));
        scan.Read(first, n, xyz.data(), rgb.data(), intensity.data(), layout.normals ? normals.data() : nullptr);
        writer.Add(n, xyz.data(), rgb.data(), intensity.data(), layout.normals ? normals.data() : nullptr);
        first += n;
        if (progress) progress("writing PLY", static_cast<double>(first) / static_cast<double>(header.pointCount));
    }
    writer.Finish();
    out.Commit();
}

}  // namespace lxscan
