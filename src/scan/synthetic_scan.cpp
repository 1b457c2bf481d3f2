#include "synthetic_scan.h"

#include <lxscan/scan_writer.h>
#include <lxscan/synthetic.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "output_file.h"
#include "progress.h"
#include "writer_internal.h"

namespace lxscan {

namespace {

using Vec = lxmath::Vec3<double>;

constexpr double kPi = 3.14159265358979323846;
constexpr double kNoHit = std::numeric_limits<double>::infinity();

double Dot(const Vec& a, const Vec& b) { return (a[0] * b[0] + a[1] * b[1]) + a[2] * b[2]; }

struct Surface {
    double reflectivity;
    unsigned char red, green, blue;
};

struct Hit {
    double distance = kNoHit;
    Vec normal;  // unit, facing the scanner
    const Surface* surface = nullptr;
};

struct Block {
    double low[3], high[3];
    Surface surface;
};

struct Pillar {
    double centreX, centreY, radius, bottom, top;
    Surface surface;
};

struct Ball {
    double centre[3], radius;
    Surface surface;
};

constexpr Surface kFloor{0.45, 150, 120, 90};
constexpr Surface kCeiling{0.85, 235, 235, 230};
constexpr Surface kWalls[4] = {{0.7, 200, 190, 170}, {0.7, 180, 200, 190},
                               {0.7, 200, 190, 170}, {0.7, 180, 200, 190}};
constexpr Block kBlocks[] = {
    {{1.0, 3.8, 0.0}, {2.6, 4.8, 0.75}, {0.5, 120, 80, 40}},   // table
    {{6.4, 0.4, 0.0}, {7.6, 1.2, 2.0}, {0.6, 90, 110, 160}},   // cabinet
    {{4.6, 3.6, 0.0}, {5.4, 4.4, 0.8}, {0.55, 170, 140, 60}},  // crate
};
constexpr Pillar kPillar{5.5, 1.8, 0.25, 0.0, 3.0, {0.65, 210, 210, 210}};
constexpr Ball kBall{{1.8, 4.3, 1.05}, 0.3, {0.8, 200, 40, 40}};  // on the table

// Leaving the room from inside: the nearest wall along the ray.
void CastRoom(const Vec& o, const Vec& d, Hit& hit) {
    for (int axis = 0; axis < 3; ++axis) {
        if (d[axis] == 0.0) continue;
        const bool upward = d[axis] > 0.0;
        const double t = ((upward ? SyntheticScan::kRoomSize[axis] : 0.0) - o[axis]) / d[axis];
        if (t >= hit.distance) continue;
        hit.distance = t;
        hit.normal = Vec(0, 0, 0);
        hit.normal[axis] = upward ? -1.0 : 1.0;
        if (axis == 2) hit.surface = upward ? &kCeiling : &kFloor;
        else hit.surface = &kWalls[axis * 2 + (upward ? 1 : 0)];
    }
}

// Slab test against a box seen from outside.
void CastBlock(const Block& block, const Vec& o, const Vec& d, Hit& hit) {
    double enter = 0.0, leave = kNoHit;
    int enterAxis = -1;
    for (int axis = 0; axis < 3; ++axis) {
        if (d[axis] == 0.0) {
            if (o[axis] < block.low[axis] || o[axis] > block.high[axis]) return;
            continue;
        }
        double t0 = (block.low[axis] - o[axis]) / d[axis];
        double t1 = (block.high[axis] - o[axis]) / d[axis];
        if (t0 > t1) std::swap(t0, t1);
        if (t0 > enter) {
            enter = t0;
            enterAxis = axis;
        }
        leave = std::min(leave, t1);
    }
    if (enterAxis < 0 || enter > leave || enter >= hit.distance) return;
    hit.distance = enter;
    hit.normal = Vec(0, 0, 0);
    hit.normal[enterAxis] = d[enterAxis] > 0.0 ? -1.0 : 1.0;
    hit.surface = &block.surface;
}

// The mantle of a vertical cylinder seen from outside.
void CastPillar(const Pillar& pillar, const Vec& o, const Vec& d, Hit& hit) {
    const double px = o[0] - pillar.centreX, py = o[1] - pillar.centreY;
    const double a = d[0] * d[0] + d[1] * d[1];
    if (a == 0.0) return;
    const double b = px * d[0] + py * d[1];
    const double c = px * px + py * py - pillar.radius * pillar.radius;
    const double discriminant = b * b - a * c;
    if (discriminant < 0.0) return;
    const double t = (-b - std::sqrt(discriminant)) / a;
    const double z = o[2] + t * d[2];
    if (t <= 0.0 || t >= hit.distance || z < pillar.bottom || z > pillar.top) return;
    hit.distance = t;
    hit.normal = Vec((px + t * d[0]) / pillar.radius, (py + t * d[1]) / pillar.radius, 0.0);
    hit.surface = &pillar.surface;
}

void CastBall(const Ball& ball, const Vec& o, const Vec& d, Hit& hit) {
    const Vec p(o[0] - ball.centre[0], o[1] - ball.centre[1], o[2] - ball.centre[2]);
    const double b = Dot(p, d);
    const double discriminant = b * b - (Dot(p, p) - ball.radius * ball.radius);
    if (discriminant < 0.0) return;
    const double t = -b - std::sqrt(discriminant);
    if (t <= 0.0 || t >= hit.distance) return;
    hit.distance = t;
    hit.normal = Vec((p[0] + t * d[0]) / ball.radius, (p[1] + t * d[1]) / ball.radius,
                     (p[2] + t * d[2]) / ball.radius);
    hit.surface = &ball.surface;
}

Hit Cast(const Vec& origin, const Vec& direction) {
    Hit hit;
    CastRoom(origin, direction, hit);
    for (const Block& block : kBlocks) CastBlock(block, origin, direction, hit);
    CastPillar(kPillar, origin, direction, hit);
    CastBall(kBall, origin, direction, hit);
    return hit;
}

// Returned light: the surface's reflectivity, the cosine of the incidence
// angle and a gentle fall-off with distance.
unsigned char Intensity(const Hit& hit, const Vec& direction) {
    const double incidence = std::fabs(Dot(hit.normal, direction));
    const double value = 255.0 * hit.surface->reflectivity * incidence / (1.0 + 0.02 * hit.distance * hit.distance);
    return static_cast<unsigned char>(std::clamp(value, 0.0, 255.0));
}

}  // namespace

SyntheticScan::SyntheticScan(std::uint64_t count, const lxbase::RegistrationInformation& standpoint,
                             bool colours)
    : count_(count), frame_(standpoint), colours_(colours) {
    const lxmath::Vec3<double> site = frame_.GetOrigin();
    origin_ = lxmath::Vec3<double>(site[0] - kRoomCorner[0], site[1] - kRoomCorner[1], site[2] - kRoomCorner[2]);
    // Equal angular steps in both directions: 360 degrees across, the
    // covered vertical span down.
    const double aspect = 2.0 * kPi / (kLastVertical - kFirstVertical);
    rows_ = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::llround(std::sqrt(count / aspect))));
    columns_ = std::max<std::uint64_t>(1, (count + rows_ - 1) / rows_);
    verticalStep_ = (kLastVertical - kFirstVertical) / static_cast<double>(rows_);
    horizontalStep_ = 2.0 * kPi / static_cast<double>(columns_);
}

lxbase::RegistrationInformation SyntheticScan::DefaultStandpoint() {
    const double yaw = 25.0 * kPi / 180.0;
    const lxbase::Orientation axes({std::cos(yaw), std::sin(yaw), 0.0}, {-std::sin(yaw), std::cos(yaw), 0.0},
                                   {0.0, 0.0, 1.0});
    return lxbase::RegistrationInformation(axes, {kRoomCorner[0] + 3.0, kRoomCorner[1] + 2.2, kRoomCorner[2] + 1.5});
}

bool SyntheticScan::IsClear(const lxbase::XYZ& position) {
    const double p[3] = {position.x - kRoomCorner[0], position.y - kRoomCorner[1], position.z - kRoomCorner[2]};
    const double margin = 0.05;
    for (int axis = 0; axis < 3; ++axis)
        if (!(p[axis] > margin && p[axis] < kRoomSize[axis] - margin)) return false;
    for (const Block& block : kBlocks) {
        bool inside = true;
        for (int axis = 0; axis < 3; ++axis)
            inside = inside && p[axis] >= block.low[axis] - margin && p[axis] <= block.high[axis] + margin;
        if (inside) return false;
    }
    const double px = p[0] - kPillar.centreX, py = p[1] - kPillar.centreY;
    if (px * px + py * py <= (kPillar.radius + margin) * (kPillar.radius + margin)) return false;
    const double bx = p[0] - kBall.centre[0], by = p[1] - kBall.centre[1], bz = p[2] - kBall.centre[2];
    return bx * bx + by * by + bz * bz > (kBall.radius + margin) * (kBall.radius + margin);
}

bool SyntheticScan::Next(LocalRecord& record) {
    if (next_ == count_) return false;
    // The scanner turns about its vertical axis and sweeps a vertical
    // profile at each step: one column of the grid after the other.
    const std::uint64_t column = next_ / rows_;
    const std::uint64_t row = next_ % rows_;
    ++next_;
    const double horizontal = -kPi + (static_cast<double>(column) + 0.5) * horizontalStep_;
    const double vertical = kFirstVertical + (static_cast<double>(row) + 0.5) * verticalStep_;

    lxbase::tBaseXYZPoint<double> beam;
    beam = lxbase::tBasePolarPoint<double>(1.0, horizontal, vertical);
    const Vec direction = frame_.PropagateVector(Vec(beam.x, beam.y, beam.z));
    const Hit hit = Cast(origin_, direction);

    // The measurement is polar, as the scanner takes it; the library turns
    // it into Cartesian coordinates of the scanner's system.
    record.position = lxbase::tBasePolarPoint<double>(hit.distance, horizontal, vertical);
    const Vec normal = frame_.BackPropagateVector(hit.normal);
    record.normal = lxbase::tBaseXYZPoint<double>(normal[0], normal[1], normal[2]);
    record.hasNormal = true;
    record.intensity = Intensity(hit, direction);
    record.hasColour = colours_;
    record.red = hit.surface->red;
    record.green = hit.surface->green;
    record.blue = hit.surface->blue;
    return true;
}

namespace {

char* PutReal(char* out, double value) {
    out = std::to_chars(out, out + 330, value, std::chars_format::fixed, 6).ptr;
    *out++ = ' ';
    return out;
}

char* PutByte(char* out, unsigned char value) {
    out = std::to_chars(out, out + 4, static_cast<unsigned>(value)).ptr;
    *out++ = ' ';
    return out;
}

}  // namespace

void WriteAsciiScan(const std::string& path, PointSource& source, TextFormat format, const ProgressCallback& progress) {
    AtomicOutput file(path);
    BufferedOutput out(file);
    Progress shown("writing text", progress);
    const bool colour = FormatHasColour(format), normal = FormatHasNormal(format);
    LocalRecord record;
    for (std::uint64_t n = 0; source.Next(record); ++n) {
        // Six decimals of a finite double take at most 317 + 7 characters.
        char* begin = out.Reserve(9 * 330);
        char* p = begin;
        for (double v : {record.position.x, record.position.y, record.position.z}) p = PutReal(p, v);
        if (colour)
            for (unsigned char c : {record.red, record.green, record.blue}) p = PutByte(p, c);
        if (normal)
            for (double v : {record.normal.x, record.normal.y, record.normal.z}) p = PutReal(p, v);
        p[-1] = '\n';
        out.Advance(static_cast<std::size_t>(p - begin));
        if ((n & 0xFFFF) == 0) shown.Update(source.Fraction());
    }
    out.Flush();
    file.Commit();
}

lxbase::RegistrationInformation DefaultStandpoint() { return SyntheticScan::DefaultStandpoint(); }

bool IsClearStandpoint(const lxbase::XYZ& position) { return SyntheticScan::IsClear(position); }

namespace {

lxbase::RegistrationInformation Standpoint(const DemoOptions& options) {
    if (!options.standpoint) return SyntheticScan::DefaultStandpoint();
    if (!SyntheticScan::IsClear(options.standpoint->translation))
        throw ScanError("the synthetic scanner must stand inside the room (10..18 x 20..26 x 5..8), "
                        "clear of the furniture");
    return *options.standpoint;
}

}  // namespace

void AddSyntheticScan(ScanWriter& writer, const DemoOptions& options) {
    ScanWriter::Impl& impl = Internals(writer);
    SyntheticScan source(options.points, Standpoint(options), options.colours);
    impl.Reserve(impl.points.size() + options.points);
    Packer packer = impl.MakePacker();
    Progress shown("scanning", options.progress);
    LocalRecord record;
    ScanPoint point;
    while (source.Next(record)) {
        PackStats packed;
        packer.Pack(record, point, packed);
        impl.Append(&point, 1, packed, record.hasColour);
        if ((impl.points.size() & 0xFFFF) == 0) shown.Update(source.Fraction());
    }
    shown.Finish();
}

ConvertResult WriteDemoScan(const std::string& output, const DemoOptions& options) {
    const Clock::time_point start = Clock::now();
    ScanWriterOptions writerOptions;
    writerOptions.registration = Standpoint(options);
    writerOptions.coordinateBytes = options.floatCoordinates ? 4 : 8;
    writerOptions.progress = options.progress;
    ScanWriter writer(writerOptions);
    AddSyntheticScan(writer, options);
    ConvertResult result;
    InputSummary input;
    input.path = "synthetic scan";
    input.kind = "synthetic";
    input.points = writer.Count();
    result.inputs.push_back(input);
    FinishConversion(writer, output, options.verify, start, result);
    return result;
}

void WriteSyntheticText(const std::string& path, TextFormat format, const DemoOptions& options) {
    if (format == TextFormat::Auto) format = TextFormat::XyzNormal;
    SyntheticScan source(options.points, Standpoint(options), FormatHasColour(format));
    WriteAsciiScan(path, source, format, options.progress);
}

}  // namespace lxscan
