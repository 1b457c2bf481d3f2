// Types shared by the parts of the scan module (not installed).
#ifndef LXSCAN_SRC_SCAN_TYPES_H
#define LXSCAN_SRC_SCAN_TYPES_H

#include <chrono>
#include <cstdint>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include <sys/stat.h>

#include <lxbase/lxbase.h>
#include <lxscan/types.h>

#include "big_array.h"

namespace lxscan {

// A point as the program keeps it in memory and writes it: the position in
// the parent coordinate system and the packed colour, intensity and normal.
struct ScanPoint {
    lxbase::tBaseXYZPoint<double> position;
    lxbase::HNormalRGB attributes;
};
static_assert(sizeof(ScanPoint) == 32, "a point is 24 position bytes and the 8-byte record");

using PointArray = BigArray<ScanPoint>;
// An order of points: indices into a PointArray.
using Order = BigArray<std::uint32_t>;

// One measurement as a source delivers it, in the scanner's own system.
struct LocalRecord {
    lxbase::tBaseXYZPoint<double> position;
    lxbase::tBaseXYZPoint<double> normal;  // meaningful when hasNormal
    unsigned char red = 0, green = 0, blue = 0;  // meaningful when hasColour
    unsigned char intensity = 0;
    bool hasNormal = false;
    bool hasColour = false;
};

// Makes the box take in p; the first point sets it.
inline void ExtendBox(Box& box, const lxbase::tBaseXYZPoint<double>& p, bool first) {
    const double* v = p.ToArray();
    for (int axis = 0; axis < 3; ++axis) {
        if (first || v[axis] < box.min[axis]) box.min[axis] = v[axis];
        if (first || v[axis] > box.max[axis]) box.max[axis] = v[axis];
    }
}

// Where the input comes from: a text file or the built-in synthetic scan.
class PointSource {
public:
    virtual ~PointSource() = default;
    // The next measurement; false at the end. Throws ScanError on bad input.
    virtual bool Next(LocalRecord& record) = 0;
    // Fraction of the input consumed so far, 0..1.
    virtual double Fraction() = 0;
    // A rough count for reserving memory (0 when unknown yet).
    virtual std::uint64_t EstimatedCount() const = 0;
    // Whether the records carry colour (else the points are coloured by height).
    virtual bool HasColour() const = 0;
    // Where the last record came from, for messages ("points.txt:12").
    virtual std::string Where() const = 0;
};

// Why a file could not be opened for reading, given the errno that the
// failed open left: a directory is named as such, a missing file as missing.
inline std::string OpenFailureReason(const std::string& path, int savedErrno) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return std::strerror(errno);
    if (S_ISDIR(info.st_mode)) return "is a directory";
    return std::strerror(savedErrno != 0 ? savedErrno : EACCES);
}

using Clock = std::chrono::steady_clock;

inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace lxscan

#endif
