// Converting point files (text, and PLY where supported) into one scan
// file: what the `lxscan convert` command and Python's convert do.
#ifndef LXSCAN_CONVERT_H
#define LXSCAN_CONVERT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <lxbase/lxbase.h>
#include <lxscan/export.h>
#include <lxscan/scan_header.h>
#include <lxscan/types.h>

namespace lxscan {

struct ConvertOptions {
    TextFormat format = TextFormat::Auto;  // columns of text inputs
    // The scan's pose in the parent system; none: the identity.
    std::optional<lxbase::RegistrationInformation> pose;
    bool floatCoordinates = false;  // 4-byte coordinates
    bool verify = true;             // read the file back and compare
    bool skipInvalid = false;       // skip points with NaN or infinite coordinates, counted
    unsigned threads = 0;           // parser threads; 0: all cores
    ProgressCallback progress;
};

struct InputSummary {
    std::string path;
    std::string kind;  // "text" or "ply"
    TextFormat format = TextFormat::Auto;  // of a text input
    bool detected = false;                 // format told from the content
    std::uint64_t points = 0;
    std::uint64_t lines = 0;    // of a text input
    std::uint64_t skipped = 0;  // invalid points skipped
};

struct ConvertResult {
    ScanHeader header;
    std::vector<InputSummary> inputs;
    std::uint64_t points = 0;
    std::uint64_t skipped = 0;
    std::uint64_t normals = 0;       // points that came with a normal
    double worstNormalDegrees = 0;   // largest angle between an input normal and its code
    double readSeconds = 0;          // parse and pack
    double sortSeconds = 0;
    double writeSeconds = 0;
    double verifySeconds = 0;
    double totalSeconds = 0;
};

// Reads every input (several merge into one scan), places the points
// through the pose, packs, sorts and writes them to output atomically, and
// unless told otherwise reads the file back and compares it bit for bit.
// Refuses an output that is one of the inputs (same device and inode) or a
// directory before reading anything. Throws ScanError.
LXSCAN_API ConvertResult Convert(const std::vector<std::string>& inputs, const std::string& output,
                                 const ConvertOptions& options = ConvertOptions());

}  // namespace lxscan

#endif
