// scan_roundtrip: the scan file module in a few calls. Point text files (or,
// without inputs, a synthetic scan of a furnished room) become one Z-ordered
// scan file, which is then opened, verified and read back.
//
//   scan_roundtrip [-o OUT.lxs] [INPUT...]
#include <cstdio>
#include <string>
#include <vector>

#include <lxscan/lxscan.h>

namespace {

void PrintHeader(const lxscan::ScanHeader& h) {
    std::printf("scan      id %s, taken %s\n", h.id.ToString().c_str(), h.date.c_str());
    std::printf("records   %llu points, %u bytes each, %s coordinates, colours %s, %s\n",
                static_cast<unsigned long long>(h.pointCount), h.RecordSize(),
                h.coordinateBytes == 4 ? "float" : "double", h.ColourFromInput() ? "from the input" : "by height",
                h.HasNormals() ? "with normals" : "without normals");
    std::printf("box       x %.3f .. %.3f, y %.3f .. %.3f, z %.3f .. %.3f\n", h.box.min[0], h.box.max[0],
                h.box.min[1], h.box.max[1], h.box.min[2], h.box.max[2]);
}

int Run(const std::string& output, const std::vector<std::string>& inputs) {
    // 1. Convert: parse, place, pack, sort, write atomically, compare.
    const lxscan::ConvertResult made =
        inputs.empty() ? lxscan::WriteDemoScan(output) : lxscan::Convert(inputs, output);
    for (const lxscan::InputSummary& in : made.inputs)
        std::printf("input     %s: %llu points (%s%s%s)\n", in.path.c_str(),
                    static_cast<unsigned long long>(in.points), in.kind.c_str(),
                    in.kind == "text" ? ", format " : "", in.kind == "text" ? lxscan::FormatName(in.format) : "");
    std::printf("stages    read %.3f s, sort %.3f s, write %.3f s, compare %.3f s\n", made.readSeconds,
                made.sortSeconds, made.writeSeconds, made.verifySeconds);

    // 2. Open the file on its own and check it through.
    lxscan::ScanReader reader(output);
    const lxscan::VerifyResult check = reader.Verify();
    PrintHeader(reader.Header());
    std::printf("verified  %s: %llu bytes, checksum, normal codes, Z-order and box in order\n", output.c_str(),
                static_cast<unsigned long long>(check.fileSize));

    // 3. Read the first points back into arrays.
    const std::uint64_t n = reader.Count() < 3 ? reader.Count() : 3;
    std::vector<double> xyz(3 * n);
    std::vector<std::uint8_t> rgb(3 * n);
    std::vector<float> normals(3 * n);
    reader.Read(0, n, xyz.data(), rgb.data(), nullptr, normals.data());
    for (std::uint64_t i = 0; i < n; ++i)
        std::printf("point %llu   (%.4f, %.4f, %.4f) colour %u %u %u normal (%.3f, %.3f, %.3f)\n",
                    static_cast<unsigned long long>(i), xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2], rgb[3 * i],
                    rgb[3 * i + 1], rgb[3 * i + 2], normals[3 * i], normals[3 * i + 1], normals[3 * i + 2]);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string output = "scan.lxs";
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "-o" && i + 1 < argc) {
            output = argv[++i];
        } else if (!arg.empty() && arg[0] == '-') {
            std::fprintf(stderr, "usage: scan_roundtrip [-o OUT.lxs] [INPUT...]\n");
            return 2;
        } else {
            inputs.push_back(arg);
        }
    }
    try {
        return Run(output, inputs);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "scan_roundtrip: %s\n", error.what());
        return 1;
    }
}
