// PLY input of Convert (internal).
#ifndef LXSCAN_SRC_PLY_CONVERT_H
#define LXSCAN_SRC_PLY_CONVERT_H

#include <string>

#include <lxscan/convert.h>
#include <lxscan/scan_writer.h>

namespace lxscan {

// Adds the vertices of a PLY file to the writer: colour, intensity and
// normals where the file has them. Reading runs on a thread of its own
// while the writer packs the previous block. Fills the summary (kind "ply",
// points, skipped). Throws ScanError naming the file and the line or byte.
void AddPlyInput(const std::string& path, const ConvertOptions& options, ScanWriter& writer, InputSummary& summary);

}  // namespace lxscan

#endif
