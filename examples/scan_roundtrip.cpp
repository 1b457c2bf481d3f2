// scan_roundtrip: the library's main job end to end. Measurements (a text
// point file, or a synthetic scan taken as polar measurements) become
// Cartesian points in a parent coordinate system, get packed colour,
// intensity and normal records, are sorted in Z-order and written as one
// versioned scan file, which is then read back and checked bit for bit.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <lxbase/lxbase.h>
#include <lxmath/lxmath.h>

#include "scan_roundtrip/ascii_input.h"
#include "scan_roundtrip/exports.h"
#include "scan_roundtrip/pipeline.h"
#include "scan_roundtrip/progress.h"
#include "scan_roundtrip/scan_file.h"
#include "scan_roundtrip/synthetic_scan.h"
#include "scan_roundtrip/zorder_sort.h"

namespace {

using namespace scan;

constexpr double kPi = 3.14159265358979323846;

const char kHelp[] = R"(Usage: scan_roundtrip [options] [INPUT]

Reads point measurements, places them in a parent coordinate system, packs
colour, intensity and normal of every point into 8 bytes, sorts the points
in Z-order, writes them as one scan file, reads it back and checks every
point bit for bit. Prints a summary with the throughput of every stage.

INPUT is a text file with one point a line: "x y z", optionally followed by
"r g b" (integers 0..255) and/or "nx ny nz", separated by blanks or tabs.
Blank lines and lines starting with '#' are skipped. The file is streamed:
memory holds the points (32 bytes each, about 44 at the peak of the sort),
never the text.
Without INPUT a synthetic scan is made: a room with furniture, measured
from one standpoint on a regular grid of horizontal and vertical angles
(range and two angles per point) by ray casting, with exact normals.

Options:
  -o, --output FILE    scan file to write (default: scan.lxs). It is written
                       under a temporary name and renamed when complete.
  --format F           columns of INPUT: xyz, xyzrgb, xyznormal,
                       xyzrgbnormal, or auto (default). auto decides from the
                       first point line: 3 values xyz, 9 xyzrgbnormal; of 6,
                       the last three are a normal when they form a unit
                       vector (length within 2%), a colour when they are
                       integers 0..255, else the line is refused.
  --pose YAW,X,Y,Z     registration of the scan in the parent system: turned
                       YAW degrees about the vertical axis, origin at X,Y,Z.
                       Default: none for INPUT. The synthetic room spans
                       10..18 x 20..26 x 5..8 in the parent system; its
                       scanner stands at 25,13,22.2,6.5 unless given here.
  --points N           points of the synthetic scan (default: 1000000).
  --float              store coordinates as 32-bit floats (20-byte records)
                       instead of doubles (32-byte records).
  --ply FILE           also write the points as binary little-endian PLY:
                       x y z float, red green blue intensity uchar,
                       nx ny nz float (the decoded normal).
  --png FILE           also write a top view: the highest point of each
                       pixel, coloured by height (blue low, red high),
                       shaded by its normal; downward faces are left out.
  --png-size N         pixels along the longer side of the top view
                       (default: 1024).
  --verify FILE        only check an existing scan file: header, length,
                       checksum, normal codes, Z-order and bounding box.
  --check-png FILE     only read a PNG and report its size; fails when the
                       image cannot be read or all its pixels are alike.
  --generate FILE      only write the synthetic scan as a text point file
                       (in the scanner's own system), in the --format given
                       (default xyznormal), e.g. to feed it back as INPUT.
  -q, --quiet          no progress messages.
  -h, --help           this text.

Colours: points without a colour in the input are coloured by height.
Points from a file have intensity 0; synthetic ones get the returned light.
Progress is shown on standard error for stages that take over a second.
Exit status: 0 success, 1 bad input or a failed check (the message names
the file and the line or byte), 2 a wrong command line.
)";

struct Options {
    std::string input;
    std::string output = "scan.lxs";
    TextFormat format = TextFormat::Auto;
    std::uint64_t points = 1000000;
    bool poseGiven = false;
    lxbase::RegistrationInformation pose;
    bool floatCoordinates = false;
    std::string ply, png, verify, checkPng, generate;
    unsigned pngSize = 1024;
    bool quiet = false;
    bool help = false;
};

struct UsageError {
    std::string message;
};

template <class T>
T ParseNumber(std::string_view text, const char* option) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        throw UsageError{std::string(option) + ": '" + std::string(text) + "' is not a number"};
    return value;
}

lxbase::RegistrationInformation ParsePose(std::string_view text) {
    double v[4];
    for (int i = 0; i < 4; ++i) {
        const std::size_t comma = i < 3 ? text.find(',') : text.size();
        if (comma == std::string_view::npos) throw UsageError{"--pose: expected YAW,X,Y,Z"};
        v[i] = ParseNumber<double>(text.substr(0, comma), "--pose");
        if (!std::isfinite(v[i])) throw UsageError{"--pose: values must be finite"};
        text.remove_prefix(i < 3 ? comma + 1 : comma);
    }
    const double yaw = v[0] * kPi / 180.0;
    const lxbase::Orientation axes({std::cos(yaw), std::sin(yaw), 0.0}, {-std::sin(yaw), std::cos(yaw), 0.0},
                                   {0.0, 0.0, 1.0});
    return lxbase::RegistrationInformation(axes, {v[1], v[2], v[3]});
}

Options ParseOptions(int argc, char** argv) {
    Options options;
    bool pointsGiven = false;
    std::vector<std::string_view> args(argv + 1, argv + argc);
    for (std::size_t i = 0; i < args.size(); ++i) {
        std::string_view arg = args[i];
        std::string_view value;
        bool hasValue = false;
        if (arg.substr(0, 2) == "--" && arg.find('=') != std::string_view::npos) {
            value = arg.substr(arg.find('=') + 1);
            arg = arg.substr(0, arg.find('='));
            hasValue = true;
        }
        auto take = [&]() -> std::string {
            if (hasValue) return std::string(value);
            if (i + 1 >= args.size()) throw UsageError{std::string(arg) + " needs a value"};
            return std::string(args[++i]);
        };
        if (arg == "-h" || arg == "--help") options.help = true;
        else if (arg == "-q" || arg == "--quiet") options.quiet = true;
        else if (arg == "--float") options.floatCoordinates = true;
        else if (arg == "-o" || arg == "--output") options.output = take();
        else if (arg == "--ply") options.ply = take();
        else if (arg == "--png") options.png = take();
        else if (arg == "--verify") options.verify = take();
        else if (arg == "--check-png") options.checkPng = take();
        else if (arg == "--generate") options.generate = take();
        else if (arg == "--points") {
            options.points = ParseNumber<std::uint64_t>(take(), "--points");
            pointsGiven = true;
        }
        else if (arg == "--png-size") options.pngSize = ParseNumber<unsigned>(take(), "--png-size");
        else if (arg == "--pose") {
            options.pose = ParsePose(take());
            options.poseGiven = true;
        } else if (arg == "--format") {
            const std::string name = take();
            if (!ParseFormatName(name, options.format)) throw UsageError{"--format: unknown format '" + name + "'"};
        } else if (arg.size() > 1 && arg[0] == '-') {
            throw UsageError{"unknown option '" + std::string(arg) + "'"};
        } else if (options.input.empty() && !arg.empty()) {
            options.input = std::string(arg);
        } else {
            throw UsageError{"more than one input file: '" + std::string(arg) + "'"};
        }
    }
    if (options.points == 0 || options.points > 4000000000u) throw UsageError{"--points: 1 to 4000000000"};
    if (options.pngSize < 1 || options.pngSize > 16384) throw UsageError{"--png-size: 1 to 16384"};
    if (!options.generate.empty() && !options.input.empty())
        throw UsageError{"--generate makes a synthetic scan and takes no input file"};
    if (pointsGiven && !options.input.empty())
        throw UsageError{"--points sizes the synthetic scan; the input file has its own points"};
    if (options.format != TextFormat::Auto && options.input.empty() && options.generate.empty())
        throw UsageError{"--format describes the input file or the --generate output"};
    return options;
}

// ---- reporting -------------------------------------------------------------

struct Stage {
    const char* name;
    double seconds;
};

std::string Millions(double perSecond) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f M", perSecond / 1e6);
    return text;
}

void PrintBox(const Box& box) {
    std::printf("parent    bounding box x %.3f .. %.3f, y %.3f .. %.3f, z %.3f .. %.3f\n", box.min[0], box.max[0],
                box.min[1], box.max[1], box.min[2], box.max[2]);
}

void PrintScan(const ScanHeader& header) {
    std::string local;
    try {
        local = lxbase::Encode_UTF8(lxbase::Date(lxbase::Decode_UTF8(header.date)).ToLocalString());
    } catch (const std::exception&) {
        local = "not a date";
    }
    std::printf("scan      id %s, taken %s (%s)\n", header.id.ToString().c_str(), header.date.c_str(), local.c_str());
    const lxbase::RegistrationInformation& r = header.registration;
    std::printf("pose      origin (%.3f, %.3f, %.3f), turned %.2f deg about the vertical\n", r.translation.x,
                r.translation.y, r.translation.z,
                std::atan2(r.orientation.xAxis.y, r.orientation.xAxis.x) * 180.0 / kPi);
}

void PrintStages(const std::vector<Stage>& stages, std::uint64_t points, double total) {
    std::printf("stage            seconds     points/s\n");
    for (const Stage& s : stages)
        std::printf("  %-14s %8.3f %12s\n", s.name, s.seconds, Millions(points / std::max(s.seconds, 1e-9)).c_str());
    std::printf("  %-14s %8.3f %12s\n", "total", total, Millions(points / std::max(total, 1e-9)).c_str());
}

// ---- modes -----------------------------------------------------------------

int RunVerify(const Options& options) {
    const FileCheck check = CheckScanFile(options.verify, !options.quiet);
    const ScanHeader& h = check.header;
    std::printf("verified  %s: %llu points, %u-byte records, checksum 0x%016llx; normal codes, Z-order and "
                "bounding box in order\n",
                options.verify.c_str(), static_cast<unsigned long long>(h.pointCount), h.RecordSize(),
                static_cast<unsigned long long>(h.checksum));
    PrintScan(h);
    PrintBox(h.box);
    std::printf("read      %llu bytes in %.3f s, %s points/s\n", static_cast<unsigned long long>(check.fileSize),
                check.seconds, Millions(h.pointCount / std::max(check.seconds, 1e-9)).c_str());
    return 0;
}

int RunCheckPng(const Options& options) {
    const PngCheck check = CheckPng(options.checkPng);
    std::printf("%s: PNG %u x %u, %llu pixels drawn, %llu colours\n", options.checkPng.c_str(), check.size.width,
                check.size.height, static_cast<unsigned long long>(check.drawnPixels),
                static_cast<unsigned long long>(check.colours));
    return 0;
}

lxbase::RegistrationInformation SyntheticStandpoint(const Options& options) {
    if (!options.poseGiven) return SyntheticScan::DefaultStandpoint();
    if (!SyntheticScan::IsClear(options.pose.translation))
        throw ScanError("--pose: the synthetic scanner must stand inside the room (10..18 x 20..26 x 5..8), "
                        "clear of the furniture");
    return options.pose;
}

int RunGenerate(const Options& options) {
    const Clock::time_point start = Clock::now();
    const TextFormat format = options.format == TextFormat::Auto ? TextFormat::XyzNormal : options.format;
    SyntheticScan source(options.points, SyntheticStandpoint(options), FormatHasColour(format));
    WriteAsciiScan(options.generate, source, format, !options.quiet);
    std::printf("wrote %s: %llu points of the synthetic scan as %s (%s), %.3f s\n", options.generate.c_str(),
                static_cast<unsigned long long>(options.points), FormatName(format), FormatColumns(format),
                SecondsSince(start));
    return 0;
}

// What a round trip produced, for the summary.
struct RoundTrip {
    PointArray points;
    Order order;
    IngestStats ingest;
    SortStats sorted;
    ScanHeader header;
    ImageSize image;
    std::vector<Stage> stages;
    double total = 0;
};

void PrintRoundTrip(const Options& options, const PointSource& source, const AsciiSource* text,
                    const RoundTrip& r) {
    const auto n = static_cast<unsigned long long>(r.points.size());
    if (text != nullptr)
        std::printf("input     %s: %llu points (%llu lines), format %s%s\n", options.input.c_str(), n,
                    static_cast<unsigned long long>(text->LineNumber()), FormatName(text->Format()),
                    text->Detected() ? " (detected)" : "");
    else
        std::printf("input     synthetic scan: %llu points, polar grid of %llu rows x %llu columns\n", n,
                    static_cast<unsigned long long>(static_cast<const SyntheticScan&>(source).Rows()),
                    static_cast<unsigned long long>(static_cast<const SyntheticScan&>(source).Columns()));
    std::printf("output    %s: %llu bytes (%u-byte header block, %u-byte records, %s coordinates)\n",
                options.output.c_str(), r.header.HeaderSize() + n * r.header.RecordSize(), r.header.HeaderSize(),
                r.header.RecordSize(), options.floatCoordinates ? "float" : "double");
    PrintScan(r.header);
    PrintBox(r.ingest.box);
    if (r.ingest.normals != 0)
        std::printf("normals   %llu coded; largest angle between an input normal and its code: %.3f deg\n",
                    static_cast<unsigned long long>(r.ingest.normals),
                    std::acos(std::min(1.0, r.ingest.worstNormalCos)) * 180.0 / kPi);
    else
        std::printf("normals   none in the input\n");
    std::printf("colours   %s\n", source.HasColour() ? "from the input" : "by height (colour ramp)");
    std::printf("order     Z-order by key; by operator<: %llu groups of equal keys (largest %llu points) "
                "and %llu points with a zero coordinate%s\n",
                static_cast<unsigned long long>(r.sorted.equalKeyGroups),
                static_cast<unsigned long long>(r.sorted.largestGroup),
                static_cast<unsigned long long>(r.sorted.zeroPoints),
                r.sorted.fullMerge ? "; key order repaired by a merge pass" : "");
    std::printf("verified  %llu points bit for bit, checksum 0x%016llx\n", n,
                static_cast<unsigned long long>(r.header.checksum));
    if (!options.ply.empty()) std::printf("ply       %s\n", options.ply.c_str());
    if (!options.png.empty()) std::printf("png       %s: %u x %u\n", options.png.c_str(), r.image.width, r.image.height);
    PrintStages(r.stages, n, r.total);
}

int RunRoundTrip(const Options& options) {
    const Clock::time_point start = Clock::now();
    const bool progress = !options.quiet;
    RoundTrip r;
    Clock::time_point stageStart = start;
    auto endStage = [&](const char* name) {
        r.stages.push_back({name, SecondsSince(stageStart)});
        stageStart = Clock::now();
    };

    std::unique_ptr<PointSource> source;
    AsciiSource* text = nullptr;
    lxbase::RegistrationInformation registration;
    if (options.input.empty()) {
        registration = SyntheticStandpoint(options);
        source = std::make_unique<SyntheticScan>(options.points, registration, false);
    } else {
        auto ascii = std::make_unique<AsciiSource>(options.input, options.format);
        text = ascii.get();
        source = std::move(ascii);
        if (options.poseGiven) registration = options.pose;
    }

    r.ingest = Ingest(*source, registration, options.floatCoordinates, r.points, progress);
    if (r.points.empty()) throw ScanError((text != nullptr ? options.input : "input") + ": no points");
    if (!source->HasColour()) ColourByHeight(r.points, r.ingest.box);
    endStage(text != nullptr ? "parse+pack" : "scan+pack");
    {
        Progress shown("sorting", progress);
        r.order = SortZOrder(r.points, r.sorted, &shown);
    }
    endStage("z-order sort");

    r.header.id = lxbase::UUID::Generate();
    r.header.date = lxbase::Encode_UTF8(lxbase::Date::Now().ToISOString());
    r.header.registration = registration;
    r.header.coordinateBytes = options.floatCoordinates ? 4 : 8;
    r.header.box = r.ingest.box;
    r.header.flags = (source->HasColour() ? ScanHeader::kColourFromInput : 0) |
                     (r.ingest.normals != 0 ? ScanHeader::kHasNormals : 0);
    WriteScanFile(options.output, r.points, r.order, r.header, progress);
    endStage("write");
    CompareScanFile(options.output, r.header, r.points, r.order, progress);
    endStage("read+verify");

    if (!options.ply.empty()) {
        WritePly(options.ply, r.points, r.order, progress);
        endStage("ply");
    }
    if (!options.png.empty()) {
        r.image = WriteTopView(options.png, r.points, r.ingest.box, options.pngSize);
        endStage("png");
    }
    r.total = SecondsSince(start);
    PrintRoundTrip(options, *source, text, r);
    return 0;
}

int Run(const Options& options) {
    if (options.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!options.checkPng.empty()) return RunCheckPng(options);
    if (!options.verify.empty()) return RunVerify(options);
    if (!options.generate.empty()) return RunGenerate(options);
    return RunRoundTrip(options);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run(ParseOptions(argc, argv));
    } catch (const UsageError& error) {
        std::fprintf(stderr, "scan_roundtrip: %s (see --help)\n", error.message.c_str());
        return 2;
    } catch (const ScanError& error) {
        std::fprintf(stderr, "scan_roundtrip: %s\n", error.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "scan_roundtrip: out of memory\n");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "scan_roundtrip: error: %s\n", error.what());
    }
    return 1;
}
