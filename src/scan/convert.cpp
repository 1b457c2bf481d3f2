#include <lxscan/convert.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>

#include "ascii_input.h"
#include "pipeline.h"
#include "progress.h"
#include "scan_file.h"
#include "writer_internal.h"

namespace lxscan {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Refuses, before anything is read, an output that is a directory or one
// of the inputs under any name (same device and inode).
void CheckPaths(const std::vector<std::string>& inputs, const std::string& output) {
    if (inputs.empty()) throw ScanError("no input files");
    struct stat out;
    if (stat(output.c_str(), &out) != 0) return;
    RefuseDirectory(output);
    for (const std::string& input : inputs) {
        struct stat in;
        if (stat(input.c_str(), &in) == 0 && in.st_dev == out.st_dev && in.st_ino == out.st_ino)
            throw ScanError(output + ": is the input " + input + "; refusing to overwrite it");
    }
}

// Whether the file begins like a PLY file ("ply" and a line end).
bool LooksLikePly(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    char start[4] = {};
    const std::size_t got = std::fread(start, 1, sizeof start, file);
    std::fclose(file);
    return got >= 4 && std::memcmp(start, "ply", 3) == 0 && (start[3] == '\n' || start[3] == '\r');
}

void ReadText(const std::string& path, const ConvertOptions& options, ScanWriter::Impl& writer,
              InputSummary& summary) {
    AsciiSource source(path, options.format);
    Packer packer = writer.MakePacker();
    constexpr std::size_t kBatch = 4096;
    BigArray<ScanPoint> batch(kBatch);
    std::size_t used = 0;
    PackStats packed;
    bool coloured = false;
    Progress shown("reading", options.progress);
    auto flush = [&]() {
        writer.Append(batch.data(), used, packed, coloured);
        used = 0;
        packed = PackStats();
    };
    LocalRecord record;
    while (source.Next(record)) {
        coloured = record.hasColour;
        try {
            packer.Pack(record, batch[used], packed);
        } catch (const ScanError& error) {
            throw ScanError(source.Where() + ": " + error.what());
        }
        if (++used == kBatch) {
            if (writer.points.size() == writer.points.capacity()) writer.Reserve(source.EstimatedCount());
            flush();
            shown.Update(source.Fraction());
        }
        ++summary.points;
    }
    flush();
    shown.Finish();
    if (summary.points == 0) throw ScanError(path + ": no points");
    summary.kind = "text";
    summary.format = source.Format();
    summary.detected = source.Detected();
    summary.lines = source.LineNumber();
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

    ConvertResult result;
    for (const std::string& input : inputs) {
        InputSummary summary;
        summary.path = input;
        if (LooksLikePly(input)) throw ScanError(input + ": PLY input is not supported yet");
        ReadText(input, options, impl, summary);
        result.skipped += summary.skipped;
        result.inputs.push_back(summary);
    }
    FinishConversion(writer, output, options.verify, start, result);
    return result;
}

}  // namespace lxscan
