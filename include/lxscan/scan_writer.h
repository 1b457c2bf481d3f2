// Writing a scan file: points collected from single calls or arrays, packed
// into HNormalRGB records, sorted in Z-order and written atomically.
#ifndef LXSCAN_SCAN_WRITER_H
#define LXSCAN_SCAN_WRITER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <lxbase/lxbase.h>
#include <lxscan/export.h>
#include <lxscan/scan_header.h>
#include <lxscan/types.h>

namespace lxscan {

struct ScanWriterOptions {
    std::uint32_t coordinateBytes = 8;  // 4: coordinates rounded to float
    // Where the scan stands in its parent system; recorded in the header.
    lxbase::RegistrationInformation registration;
    // true: points are given in the scanner's own system and placed into the
    // parent system through the registration. false: they are parent
    // coordinates already and are stored as given.
    bool pointsInScannerSystem = true;
    lxbase::UUID id;   // all zero: a new random identifier
    std::string date;  // empty: now, as compact ISO text
    ProgressCallback progress;
};

// One point for Add. A normal of 0 0 0 means none.
struct PointInput {
    double xyz[3] = {0, 0, 0};
    std::uint8_t rgb[3] = {0, 0, 0};
    bool hasColour = false;
    std::uint8_t intensity = 0;
    float normal[3] = {0, 0, 0};
};

// Collects points in memory (32 bytes each) and writes them as one scan
// file. Points without a colour are coloured by height with the colour ramp
// when the file is written; the header's colour flag says whether every
// point brought its own.
class LXSCAN_API ScanWriter {
public:
    explicit ScanWriter(const ScanWriterOptions& options = ScanWriterOptions());
    ScanWriter(ScanWriter&&) noexcept;
    ScanWriter& operator=(ScanWriter&&) noexcept;
    ~ScanWriter();

    void Add(const PointInput& point);
    // n points: xyz 3n doubles; optional rgb 3n bytes, intensity n bytes,
    // normals 3n floats (null: none).
    void Add(std::size_t n, const double* xyz, const std::uint8_t* rgb = nullptr,
             const std::uint8_t* intensity = nullptr, const float* normals = nullptr);

    std::uint64_t Count() const;
    // Of the points added so far, in the parent system.
    Box Bounds() const;

    // Sorts the points in Z-order and writes the file: under a temporary
    // name first, renamed when complete, so an existing file under that name
    // stays untouched when anything fails. Refuses a directory. Returns the
    // header written (with count, box and checksum filled in). The points
    // stay, so the writer can write again or compare a file with them.
    ScanHeader Write(const std::string& path);

    // Reads a file written by Write back and checks that header and every
    // record are bit for bit what was written.
    void CompareWithFile(const std::string& path) const;

    struct Impl;  // shared with the module's converters

private:
    std::unique_ptr<Impl> impl_;
    friend Impl& Internals(ScanWriter& writer);
};

}  // namespace lxscan

#endif
