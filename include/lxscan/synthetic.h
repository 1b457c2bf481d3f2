// The built-in demo input: a terrestrial scan of a furnished room, measured
// on a regular grid of horizontal and vertical angles and ray-cast against
// an analytic scene, so every point has an exact surface normal. The room
// spans 10..18 x 20..26 x 5..8 in the parent system.
#ifndef LXSCAN_SYNTHETIC_H
#define LXSCAN_SYNTHETIC_H

#include <cstdint>
#include <optional>
#include <string>

#include <lxbase/lxbase.h>
#include <lxscan/convert.h>
#include <lxscan/export.h>
#include <lxscan/types.h>

namespace lxscan {

class ScanWriter;

// Scanner at (13, 22.2, 6.5), turned by 25 degrees.
LXSCAN_API lxbase::RegistrationInformation DefaultStandpoint();
// Whether a scanner can stand there (parent coordinates): inside the room,
// clear of the furniture.
LXSCAN_API bool IsClearStandpoint(const lxbase::XYZ& position);

struct DemoOptions {
    std::uint64_t points = 1000000;
    std::optional<lxbase::RegistrationInformation> standpoint;  // none: DefaultStandpoint()
    bool colours = false;  // surface colours; else coloured by height
    bool floatCoordinates = false;
    bool verify = true;
    ProgressCallback progress;
};

// Adds the synthetic scan to a writer whose registration is the standpoint
// (points in the scanner's system). Throws ScanError for a standpoint that
// is not clear.
LXSCAN_API void AddSyntheticScan(ScanWriter& writer, const DemoOptions& options);

// The demo round trip: the synthetic scan written to output and verified.
LXSCAN_API ConvertResult WriteDemoScan(const std::string& output, const DemoOptions& options = DemoOptions());

// Writes the synthetic scan as a point text file in the scanner's own
// system (six decimals), in the given format (Auto: xyznormal).
LXSCAN_API void WriteSyntheticText(const std::string& path, TextFormat format,
                                   const DemoOptions& options = DemoOptions());

}  // namespace lxscan

#endif
