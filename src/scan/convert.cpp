#include <lxscan/convert.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

#include <sys/stat.h>

#include <lxscan/output.h>
#include <lxscan/ply.h>

#include "ply_convert.h"
#include "scan_file.h"
#include "text_reader.h"
#include "writer_internal.h"

namespace lxscan {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Refuses, before anything is read, an output that is a directory or one
// of the inputs under any name (same device and inode).
void CheckPaths(const std::vector<std::string>& inputs, const std::string& output) {
    if (inputs.empty()) throw ScanError("no input files");
    CheckDistinctFiles(inputs, {output});
    struct stat out;
    if (stat(output.c_str(), &out) != 0) return;
    RefuseDirectory(output);
}

// Whether a regular file begins like a PLY file. Other inputs (a pipe) are
// not read ahead: their bytes could not be read again.
bool IsPlyFile(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    char start[8] = {};
    const std::size_t got = std::fread(start, 1, sizeof start, file);
    std::fclose(file);
    return LooksLikePly(std::string_view(start, got));
}

}  // namespace

double NormalDegrees(double cosine) { return std::acos(std::min(1.0, cosine)) * 180.0 / kPi; }

void FinishConversion(ScanWriter& writer, const std::string& output, bool verify, Clock::time_point start,
                      ConvertResult& result) {
    ScanWriter::Impl& impl = Internals(writer);
    result.points = impl.points.size();
    result.normals = impl.stats.normals;
    result.worstNormalDegrees = NormalDegrees(impl.stats.worstNormalCos);
    result.readSeconds = SecondsSince(start);
    Clock::time_point stage = Clock::now();
    RefuseDirectory(output);
    impl.Prepare();
    result.sortSeconds = SecondsSince(stage);
    stage = Clock::now();
    WriteScanFile(output, impl.points, impl.order, impl.header, impl.options.progress);
    result.header = impl.header;
    result.writeSeconds = SecondsSince(stage);
    if (verify) {
        stage = Clock::now();
        writer.CompareWithFile(output);
        result.verifySeconds = SecondsSince(stage);
    }
    result.totalSeconds = SecondsSince(start);
}

ConvertResult Convert(const std::vector<std::string>& inputs, const std::string& output,
                      const ConvertOptions& options) {
    const Clock::time_point start = Clock::now();
    CheckPaths(inputs, output);
    ScanWriterOptions writerOptions;
    writerOptions.coordinateBytes = options.floatCoordinates ? 4 : 8;
    if (options.pose) writerOptions.registration = *options.pose;
    writerOptions.progress = options.progress;
    ScanWriter writer(writerOptions);
    ScanWriter::Impl& impl = Internals(writer);

    TextReadOptions textOptions;
    textOptions.format = options.format;
    textOptions.skipInvalid = options.skipInvalid;
    textOptions.threads = options.threads != 0 ? options.threads : std::max(1u, std::thread::hardware_concurrency());
    textOptions.progress = options.progress;

    ConvertResult result;
    for (const std::string& input : inputs) {
        InputSummary summary;
        summary.path = input;
        if (IsPlyFile(input)) {
            AddPlyInput(input, options, writer, summary);
        } else {
            ReadPointText(input, textOptions, impl, summary);
        }
        result.skipped += summary.skipped;
        result.inputs.push_back(summary);
    }
    FinishConversion(writer, output, options.verify, start, result);
    return result;
}

}  // namespace lxscan
