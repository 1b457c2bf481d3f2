// What the scan writer holds, for the module's converters (internal).
#ifndef LXSCAN_SRC_WRITER_INTERNAL_H
#define LXSCAN_SRC_WRITER_INTERNAL_H

#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include <lxscan/convert.h>
#include <lxscan/scan_writer.h>

#include "pipeline.h"
#include "scan_internal.h"
#include "zorder_sort.h"

namespace lxscan {

// A nested class takes the visibility of ScanWriter, which is exported; the
// writer's state is the library's own business, so its members stay hidden.
struct __attribute__((visibility("hidden"))) ScanWriter::Impl {
    // The order of the points is a 32-bit index array.
    static constexpr std::uint64_t kMaxPoints = std::numeric_limits<std::uint32_t>::max();

    explicit Impl(const ScanWriterOptions& options);

    Packer MakePacker() const;
    // Room for count points in all, when that is plausible.
    void Reserve(std::uint64_t count);
    // Takes n points packed by a Packer of this writer.
    void Append(const ScanPoint* begin, std::size_t n, const PackStats& packed, bool coloured);
    void AddRecord(const LocalRecord& record);
    // Colours, sorts and fills in the header for Write.
    void Prepare();

    ScanWriterOptions options;
    PointArray points;
    PackStats stats;
    std::optional<Packer> packer;  // for single records
    std::vector<std::pair<std::uint64_t, std::uint64_t>> uncoloured;  // index ranges
    bool colouredByHeight = false;
    bool sorted = false;
    Order order;
    ScanHeader header;
};

ScanWriter::Impl& Internals(ScanWriter& writer);

// One point of the array form of ScanWriter::Add as a record for a Packer
// (null rgb or normal: none; a normal of 0 0 0 is none too).
LocalRecord ToRecord(const double* xyz, const std::uint8_t* rgb, std::uint8_t intensity, const float* normal);

// The stages after reading, shared by the converters: sort, write, and
// compare the file with the points when verify is set. Fills in result's
// header, counts and stage times; reading began at start.
void FinishConversion(ScanWriter& writer, const std::string& output, bool verify, Clock::time_point start,
                      ConvertResult& result);
// Throws ScanError when path names a directory.
void RefuseDirectory(const std::string& path);
// The angle in degrees of a cosine.
double NormalDegrees(double cosine);

}  // namespace lxscan

#endif
