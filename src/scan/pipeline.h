// Placing measurements in the parent system and packing their attributes
// into HNormalRGB records (internal).
#ifndef LXSCAN_SRC_PIPELINE_H
#define LXSCAN_SRC_PIPELINE_H

#include <cstdint>
#include <cstring>

#include <lxmath/lxmath.h>

#include "scan_internal.h"

namespace lxscan {

// What packing found, merged over threads in any order with the same result.
struct PackStats {
    Box box;                       // of the points in the parent system
    std::uint64_t count = 0;       // points packed
    std::uint64_t normals = 0;     // points that came with a normal
    double worstNormalCos = 1.0;   // smallest cosine between a normal and its code

    void Merge(const PackStats& other);
};

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


// Places a measurement in the parent system through the frame of the
// registration (when place is set; rounded to float precision with
// floatCoordinates) and packs colour, intensity and normal into the point's
// HNormalRGB. One Packer a thread: it remembers the last normal.
class Packer {
public:
    Packer(const lxbase::RegistrationInformation& registration, bool place, bool floatCoordinates);
    // Throws ScanError (without a place; the caller adds it) for a point
    // beyond the range of its coordinates.
    void Pack(const LocalRecord& record, ScanPoint& point, PackStats& stats);

private:
    lxmath::Frame frame_;
    bool place_;
    bool floatCoordinates_;
    LastNormal last_;
    double lastCos_ = 1.0;
};

// Colours every point by its height in the box with the colour ramp
// (blue low, red high).
void ColourByHeight(ScanPoint* begin, ScanPoint* end, const Box& box);

}  // namespace lxscan

#endif
