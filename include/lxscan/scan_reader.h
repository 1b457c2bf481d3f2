// Reading a scan file: header, records decoded into arrays, verification.
#ifndef LXSCAN_SCAN_READER_H
#define LXSCAN_SCAN_READER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <lxscan/export.h>
#include <lxscan/scan_header.h>
#include <lxscan/types.h>

namespace lxscan {

// What Verify found; it throws on any fault, so a result means a sound file.
struct VerifyResult {
    std::uint64_t points = 0;
    std::uint64_t fileSize = 0;
    double seconds = 0;
};

// Opens a scan file and checks its header and length against each other.
// Every failure is a ScanError naming the file and the byte position.
class LXSCAN_API ScanReader {
public:
    explicit ScanReader(const std::string& path);
    ScanReader(ScanReader&&) noexcept;
    ScanReader& operator=(ScanReader&&) noexcept;
    ~ScanReader();

    const std::string& Path() const;
    const ScanHeader& Header() const;
    std::uint64_t Count() const { return Header().pointCount; }
    std::uint64_t FileSize() const;
    // Byte position of the first record and size of one: record i lies at
    // RecordOffset() + i * RecordSize() (for memory-mapping the records).
    std::uint64_t RecordOffset() const;
    std::uint32_t RecordSize() const { return Header().RecordSize(); }

    // Decodes records [first, first + count) into the arrays given; a null
    // pointer skips that field. xyz: 3 doubles a point; rgb: 3 bytes;
    // intensity: 1 byte; normals: 3 floats (the decoded normal code, 0 0 0
    // for none); normalCodes: the 14-bit codes. Any record range may be
    // read in any order; a range beyond Count() is refused.
    void Read(std::uint64_t first, std::uint64_t count, double* xyz, std::uint8_t* rgb = nullptr,
              std::uint8_t* intensity = nullptr, float* normals = nullptr,
              std::uint16_t* normalCodes = nullptr);
    // The raw records [first, first + count): count * RecordSize() bytes.
    void ReadRecords(std::uint64_t first, std::uint64_t count, unsigned char* out);

    // Checks the whole file: checksum, normal codes, Z-order of the points
    // and the bounding box. Throws ScanError naming the byte of the fault.
    VerifyResult Verify(const ProgressCallback& progress = {});

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace lxscan

#endif
