#include "pipeline.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include <lxmath/lxmath.h>


namespace lxscan {

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

}  // namespace

Packer::Packer(const lxbase::RegistrationInformation& registration, bool place, bool floatCoordinates)
    : frame_(registration), place_(place), floatCoordinates_(floatCoordinates) {}

void Packer::Pack(const LocalRecord& record, ScanPoint& point, PackStats& stats) {
    const lxbase::tBaseXYZPoint<double>& local = record.position;
    Vec p = place_ ? frame_.PropagatePoint(Vec(local.x, local.y, local.z)) : Vec(local.x, local.y, local.z);
    const double limit = floatCoordinates_ ? std::numeric_limits<float>::max() : std::numeric_limits<double>::max();
    for (int axis = 0; axis < 3; ++axis) {
        if (!(std::fabs(p[axis]) <= limit))
            throw ScanError(std::string("the point placed in the parent system lies beyond the range of ") +
                            (floatCoordinates_ ? "float" : "double") + " coordinates");
        if (floatCoordinates_) p[axis] = static_cast<float>(p[axis]);
    }
    point.position = lxbase::tBaseXYZPoint<double>(p[0], p[1], p[2]);

    if (record.hasNormal) {
        if (!last_.Matches(record)) {
            last_.Take(record);
            const lxbase::tBaseXYZPoint<double>& n = record.normal;
            const Vec direction = Scaled(place_ ? frame_.PropagateVector(Vec(n.x, n.y, n.z)) : Vec(n.x, n.y, n.z));
            last_.attributes = lxbase::HNormalRGB(record.red, record.green, record.blue);
            last_.attributes.SetNormal(lxbase::tBaseXYZPoint<float>(static_cast<float>(direction[0]),
                                                                    static_cast<float>(direction[1]),
                                                                    static_cast<float>(direction[2])));
            lastCos_ = Cosine(direction, last_.attributes.GetNormal());
        }
        point.attributes = last_.attributes;
        stats.worstNormalCos = std::min(stats.worstNormalCos, lastCos_);
        ++stats.normals;
    } else {
        point.attributes = lxbase::HNormalRGB(record.red, record.green, record.blue);
    }
    point.attributes.SetIntensity(record.intensity);
    ExtendBox(stats.box, point.position, stats.count == 0);
    ++stats.count;
}

void PackStats::Merge(const PackStats& other) {
    if (other.count == 0) return;
    for (int axis = 0; axis < 3; ++axis) {
        if (count == 0 || other.box.min[axis] < box.min[axis]) box.min[axis] = other.box.min[axis];
        if (count == 0 || other.box.max[axis] > box.max[axis]) box.max[axis] = other.box.max[axis];
    }
    count += other.count;
    normals += other.normals;
    worstNormalCos = std::min(worstNormalCos, other.worstNormalCos);
}

void ColourByHeight(ScanPoint* begin, ScanPoint* end, const Box& box) {
    const double low = box.min[2], span = box.max[2] - box.min[2];
    // Neighbouring points of a level surface share their height: the colour
    // of the last height is kept (compared bit for bit) instead of asked again.
    float lastHeight = 0.0f;
    lxbase::t_RGBType<unsigned char> colour = lxbase::t_RGBType<unsigned char>::GetColor(lastHeight);
    for (ScanPoint* p = begin; p != end; ++p) {
        const float height = span > 0.0 ? static_cast<float>((p->position.z - low) / span) : 0.0f;
        if (std::memcmp(&height, &lastHeight, sizeof height) != 0) {
            colour = lxbase::t_RGBType<unsigned char>::GetColor(height);
            lastHeight = height;
        }
        p->attributes.SetRGB(colour.r, colour.g, colour.b);
    }
}

}  // namespace lxscan
