#include "pipeline.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include <lxmath/lxmath.h>

#include "progress.h"

namespace scan {

namespace {

using Vec = lxmath::Vec3<double>;

// n scaled by the reciprocal of its largest component: the direction in
// numbers no larger than about 1, which convert to float without overflow
// and square safely (a subnormal largest component is scaled in two steps).
Vec Scaled(Vec n) {
    double largest = std::max({std::fabs(n[0]), std::fabs(n[1]), std::fabs(n[2])});
    if (largest < 0x1p-1000) {  // exact: a power of two
        for (int axis = 0; axis < 3; ++axis) n[axis] *= 0x1p1000;
        largest *= 0x1p1000;
    }
    const double scale = 1.0 / largest;
    return Vec(n[0] * scale, n[1] * scale, n[2] * scale);
}

// Cosine of the angle between a direction and a decoded normal.
double Cosine(const Vec& n, const lxbase::tBaseXYZPoint<float>& code) {
    const double cx = code.x, cy = code.y, cz = code.z;
    const double lengths = ((n[0] * n[0] + n[1] * n[1]) + n[2] * n[2]) * ((cx * cx + cy * cy) + cz * cz);
    return ((n[0] * cx + n[1] * cy) + n[2] * cz) / std::sqrt(lengths);
}

// The colour and normal of the last point coded with a normal, and its
// record. Neighbouring points of a plane share their normal, and the same
// input gives the same record and the same cosine: it is taken over, not
// coded again. Inputs are compared bit for bit (-0.0 is not 0.0 here).
struct LastNormal {
    bool valid = false;
    double normal[3];
    unsigned char colour[3];
    lxbase::HNormalRGB attributes;

    bool Matches(const LocalRecord& record) const {
        return valid && std::memcmp(normal, record.normal.ToArray(), sizeof normal) == 0 &&
               colour[0] == record.red && colour[1] == record.green && colour[2] == record.blue;
    }
    void Take(const LocalRecord& record) {
        valid = true;
        std::memcpy(normal, record.normal.ToArray(), sizeof normal);
        colour[0] = record.red;
        colour[1] = record.green;
        colour[2] = record.blue;
    }
};

}  // namespace

IngestStats Ingest(PointSource& source, const lxbase::RegistrationInformation& registration,
                   bool floatCoordinates, PointArray& points, bool progress) {
    const lxmath::Frame frame(registration);
    IngestStats stats;
    Progress shown("reading", progress);
    points.reserve(source.EstimatedCount());
    LocalRecord record;
    ScanPoint point;
    LastNormal last;
    while (source.Next(record)) {
        if (points.size() == points.capacity() && source.EstimatedCount() > points.size())
            points.reserve(source.EstimatedCount());
        if (points.size() == std::numeric_limits<std::uint32_t>::max())
            throw ScanError(source.Where() + ": more points than the 4294967295 this program sorts");

        const lxbase::tBaseXYZPoint<double>& local = record.position;
        Vec p = frame.PropagatePoint(Vec(local.x, local.y, local.z));
        const double limit = floatCoordinates ? std::numeric_limits<float>::max() : std::numeric_limits<double>::max();
        for (int axis = 0; axis < 3; ++axis) {
            if (!(std::fabs(p[axis]) <= limit))
                throw ScanError(source.Where() + ": the point placed in the parent system lies beyond the range of " +
                                (floatCoordinates ? "float" : "double") + " coordinates");
            if (floatCoordinates) p[axis] = static_cast<float>(p[axis]);
        }
        point.position = lxbase::tBaseXYZPoint<double>(p[0], p[1], p[2]);

        if (record.hasNormal) {
            if (!last.Matches(record)) {
                last.Take(record);
                const lxbase::tBaseXYZPoint<double>& n = record.normal;
                const Vec direction = Scaled(frame.PropagateVector(Vec(n.x, n.y, n.z)));
                last.attributes = lxbase::HNormalRGB(record.red, record.green, record.blue);
                last.attributes.SetNormal(lxbase::tBaseXYZPoint<float>(static_cast<float>(direction[0]),
                                                                       static_cast<float>(direction[1]),
                                                                       static_cast<float>(direction[2])));
                stats.worstNormalCos =
                    std::min(stats.worstNormalCos, Cosine(direction, last.attributes.GetNormal()));
            }
            point.attributes = last.attributes;
            ++stats.normals;
        } else {
            point.attributes = lxbase::HNormalRGB(record.red, record.green, record.blue);
        }
        point.attributes.SetIntensity(record.intensity);

        ExtendBox(stats.box, point.position, points.empty());
        points.push_back(point);
        if ((points.size() & 0xFFFF) == 0) shown.Update(source.Fraction());
    }
    return stats;
}

void ColourByHeight(PointArray& points, const Box& box) {
    const double low = box.min[2], span = box.max[2] - box.min[2];
    // Neighbouring points of a level surface share their height: the colour
    // of the last height is kept (compared bit for bit) instead of asked again.
    float lastHeight = 0.0f;
    lxbase::t_RGBType<unsigned char> colour = lxbase::t_RGBType<unsigned char>::GetColor(lastHeight);
    for (ScanPoint& p : points) {
        const float height = span > 0.0 ? static_cast<float>((p.position.z - low) / span) : 0.0f;
        if (std::memcmp(&height, &lastHeight, sizeof height) != 0) {
            colour = lxbase::t_RGBType<unsigned char>::GetColor(height);
            lastHeight = height;
        }
        p.attributes.SetRGB(colour.r, colour.g, colour.b);
    }
}

}  // namespace scan
