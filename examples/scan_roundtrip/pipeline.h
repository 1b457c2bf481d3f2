// The stages between a source of measurements and the scan file: placing
// the points in the parent system, packing their attributes, colouring.
#ifndef SCAN_ROUNDTRIP_PIPELINE_H
#define SCAN_ROUNDTRIP_PIPELINE_H

#include <cstdint>
#include <vector>

#include "scan_types.h"

namespace scan {

struct IngestStats {
    Box box;                       // of the points in the parent system
    std::uint64_t normals = 0;     // points that came with a normal
    double worstNormalCos = 1.0;   // smallest cosine between a normal and its code
};

// Reads every measurement of the source, propagates it into the parent
// system through the frame of the registration (rounded to float precision
// when floatCoordinates), and packs colour, intensity and normal into the
// point's HNormalRGB. Memory: the points only.
IngestStats Ingest(PointSource& source, const lxbase::RegistrationInformation& registration,
                   bool floatCoordinates, PointArray& points, bool progress);

// Colours every point by its height in the box with the colour ramp
// (blue low, red high).
void ColourByHeight(PointArray& points, const Box& box);

}  // namespace scan

#endif
