// The subcommands of lxscan.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>

#include <unistd.h>

#include <lxscan/output.h>
#include <lxscan/ply.h>

#include "tool.h"

namespace tool {

namespace {

constexpr double kPi = 3.14159265358979323846;

double ParsePoseValue(std::string_view text) {
    double value = 0;
    const char* begin = text.data();
    const char* end = begin + text.size();
    if (begin != end && *begin == '+') ++begin;
    const auto result = std::from_chars(begin, end, value);
    if (result.ec != std::errc() || result.ptr != end || begin == end)
        throw UsageError("--pose: '" + std::string(text) + "' is not a number (expected YAW,X,Y,Z)");
    if (!std::isfinite(value)) throw UsageError("--pose: values must be finite");
    return value;
}

void PrintResult(const lxscan::ConvertResult& result, const std::string& output) {
    for (const lxscan::InputSummary& in : result.inputs) {
        std::printf("input     %s: %llu points (%s", in.path.c_str(), static_cast<unsigned long long>(in.points),
                    in.kind.c_str());
        if (in.kind == "text")
            std::printf(", %s%s", lxscan::FormatColumns(in.format), in.detected ? ", detected" : "");
        if (in.skipped != 0) std::printf(", %llu invalid skipped", static_cast<unsigned long long>(in.skipped));
        std::printf(")\n");
    }
    PrintHeaderSummary(result.header);
    if (result.normals != 0)
        std::printf("normals   %llu coded, worst angle to the input %.3f deg\n",
                    static_cast<unsigned long long>(result.normals), result.worstNormalDegrees);
    std::printf("seconds   read %.3f, sort %.3f, write %.3f, verify %.3f, total %.3f\n", result.readSeconds,
                result.sortSeconds, result.writeSeconds, result.verifySeconds, result.totalSeconds);
    std::printf("wrote     %s%s\n", output.c_str(), result.verifySeconds > 0 ? " (read back and compared)" : "");
}

}  // namespace

lxbase::RegistrationInformation ParsePose(const std::string& text) {
    double v[4];
    std::string_view rest = text;
    for (int i = 0; i < 4; ++i) {
        const std::size_t comma = i < 3 ? rest.find(',') : rest.size();
        if (comma == std::string_view::npos || (i == 3 && rest.find(',') != std::string_view::npos))
            throw UsageError("--pose: expected YAW,X,Y,Z, got '" + text + "'");
        v[i] = ParsePoseValue(rest.substr(0, comma));
        rest.remove_prefix(i < 3 ? comma + 1 : comma);
    }
    const double yaw = v[0] * kPi / 180.0;
    const lxbase::Orientation axes({std::cos(yaw), std::sin(yaw), 0.0}, {-std::sin(yaw), std::cos(yaw), 0.0},
                                   {0.0, 0.0, 1.0});
    return lxbase::RegistrationInformation(axes, {v[1], v[2], v[3]});
}

ProgressBar::ProgressBar(bool enabled) : enabled_(enabled && isatty(STDERR_FILENO) == 1) {}

void ProgressBar::Update(const char* stage, double fraction) {
    if (!enabled_) return;
    const Clock::time_point now = Clock::now();
    if (stage_ != stage) {
        Finish();
        stage_ = stage;
        stageStart_ = now;
    }
    // Only stages that take more than a second, redrawn ten times a second.
    if (now - stageStart_ < std::chrono::seconds(1)) return;
    if (drawn_ && now - lastDrawn_ < std::chrono::milliseconds(100)) return;
    lastDrawn_ = now;
    drawn_ = true;
    constexpr int kWidth = 30;
    const double f = fraction < 0 ? 0 : fraction > 1 ? 1 : fraction;
    const int filled = static_cast<int>(f * kWidth);
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(kWidth, ' ');
    std::fprintf(stderr, "\r%-12s [%s] %3d%%", stage, bar.c_str(), static_cast<int>(f * 100));
    std::fflush(stderr);
}

void ProgressBar::Finish() {
    if (!drawn_) return;
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    drawn_ = false;
}

int RunDemo(const Options& o) {
    lxscan::DemoOptions demo;
    demo.points = o.points;
    if (!o.pose.empty()) demo.standpoint = ParsePose(o.pose);
    demo.colours = o.colours;
    demo.floatCoordinates = o.floatCoordinates;
    demo.verify = !o.noVerify;
    ProgressBar bar(!o.quiet);
    demo.progress = bar.Callback();
    const lxscan::ConvertResult result = lxscan::WriteDemoScan(o.output, demo);
    bar.Finish();
    if (!o.quiet) PrintResult(result, o.output);
    return 0;
}

int RunConvert(const Options& o) {
    lxscan::ConvertOptions convert;
    if (!lxscan::ParseFormatName(o.format, convert.format)) throw UsageError("--format: unknown format " + o.format);
    if (!o.pose.empty()) convert.pose = ParsePose(o.pose);
    convert.floatCoordinates = o.floatCoordinates;
    convert.verify = !o.noVerify;
    convert.skipInvalid = o.skipInvalid;
    convert.threads = o.threads;
    lxscan::CheckDistinctFiles(o.inputs, {o.output});
    ProgressBar bar(!o.quiet);
    convert.progress = bar.Callback();
    const lxscan::ConvertResult result = lxscan::Convert(o.inputs, o.output, convert);
    bar.Finish();
    if (!o.quiet) PrintResult(result, o.output);
    return 0;
}

int RunInfo(const Options& o) {
    lxscan::ScanReader scan(o.file);
    ProgressBar bar(!o.quiet && !o.json);
    const ScanStatistics stats = Gather(scan, bar.Callback());
    bar.Finish();
    if (o.json) {
        PrintInfoJson(scan, stats);
    } else {
        PrintInfoText(scan, stats);
    }
    return 0;
}

int RunVerify(const Options& o) {
    lxscan::ScanReader scan(o.file);
    ProgressBar bar(!o.quiet);
    const lxscan::VerifyResult result = scan.Verify(bar.Callback());
    bar.Finish();
    if (!o.quiet)
        std::printf("verified  %s: %llu points, %llu bytes; length, checksum, normal codes, Z-order and box in order\n",
                    o.file.c_str(), static_cast<unsigned long long>(result.points),
                    static_cast<unsigned long long>(result.fileSize));
    return 0;
}

int RunExport(const Options& o) {
    lxscan::CheckDistinctFiles({o.file}, {o.exportPath});
    lxscan::ScanReader scan(o.file);
    ProgressBar bar(!o.quiet);
    const char* what = "PLY";
    if (o.ply) {
        lxscan::ExportPly(scan, o.exportPath, bar.Callback());
    } else if (o.xyz) {
        lxscan::ExportText(scan, o.exportPath, lxscan::TextFormat::Auto, bar.Callback());
        what = "text";
    } else {
        const lxscan::ImageSize size = lxscan::ExportTopView(scan, o.exportPath, o.pngSize);
        what = "PNG";
        bar.Finish();
        if (!o.quiet && o.exportPath != "-") std::printf("image     %u x %u pixels\n", size.width, size.height);
    }
    bar.Finish();
    // Standard output carries the export itself: no report there.
    if (!o.quiet && o.exportPath != "-")
        std::printf("wrote     %s: %llu points as %s\n", o.exportPath.c_str(),
                    static_cast<unsigned long long>(scan.Count()), what);
    return 0;
}

}  // namespace tool
