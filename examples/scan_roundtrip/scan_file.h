// The scan file: one versioned header block (an lxbase::IOHeader) followed
// directly by the point records.
//
// Header data, version 1 (224 bytes, little-endian):
//     0  16  scan identifier (UUID bytes)
//    16  32  date of the scan, compact ISO text, zero-padded
//    48  96  registration: x, y, z axis and translation, 12 doubles
//   144   8  point count
//   152   4  bytes of one coordinate: 4 (float) or 8 (double)
//   156   4  record size: 3 coordinates + 8
//   160  48  bounding box in the parent system: min x y z, max x y z
//   208   8  checksum of all point records
//   216   4  flags: 1 colours came with the input, 2 points carry normals
//   220   4  zero
// Point record: x, y, z in the parent system, then the HNormalRGB code word
// and colour word. Points follow in Z-order.
#ifndef SCAN_ROUNDTRIP_SCAN_FILE_H
#define SCAN_ROUNDTRIP_SCAN_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "output_file.h"
#include "scan_types.h"

namespace scan {

struct ScanHeader : lxbase::IOHeader {
    static constexpr std::uint64_t kIdentifier = 0x54504E414353584Cull;  // "LXSCANPT" on disk
    static constexpr std::uint32_t kVersion = 1;
    static constexpr std::uint32_t kDataSize = 224;
    static constexpr std::uint32_t kColourFromInput = 1;
    static constexpr std::uint32_t kHasNormals = 2;

    lxbase::UUID id;
    std::string date;  // at most 31 bytes
    lxbase::RegistrationInformation registration;
    std::uint64_t pointCount = 0;
    std::uint32_t coordinateBytes = 8;
    Box box;
    std::uint64_t checksum = 0;
    std::uint32_t flags = 0;

    ScanHeader() = default;
    ScanHeader(const ScanHeader&) = default;
    ScanHeader& operator=(const ScanHeader&) = default;
    ~ScanHeader() = default;

    std::uint32_t RecordSize() const { return 3 * coordinateBytes + 8; }

    std::uint64_t HeaderGUID() const override { return kIdentifier; }
    std::uint32_t DataSizeForVersion(std::uint32_t) const override { return kDataSize; }
    std::uint32_t CurrentVersion() const override { return kVersion; }
    void ReadData(const char* data) override;
    void WriteData(char* data, std::uint32_t version) const override;
};

// A 64-bit checksum of a byte sequence; the value does not depend on how
// the bytes are split between calls of Add.
class Checksum {
public:
    void Add(const unsigned char* bytes, std::size_t n);
    std::uint64_t Value() const;

private:
    void Mix(std::uint64_t word);

    std::uint64_t state_ = 0x9E3779B97F4A7C15ull;
    std::uint64_t length_ = 0;
    unsigned char pending_[8] = {};
    std::size_t pendingCount_ = 0;
};

// Encodes the n points that order names as records of the given coordinate
// size; returns the bytes written to out (n * record size).
std::size_t EncodeRecords(const PointArray& points, const std::uint32_t* order, std::size_t n,
                          std::uint32_t coordinateBytes, unsigned char* out);
void DecodeRecord(const unsigned char* record, std::uint32_t coordinateBytes, ScanPoint& point);

// Writes the header and the points in the given order; the header's checksum
// and point count are filled in. The file appears under its name only when complete.
void WriteScanFile(const std::string& path, const PointArray& points, const Order& order, ScanHeader& header,
                   bool progress);

// Opens a scan file and checks its header and length against each other.
// Every failure is a ScanError naming the file and the byte position.
class ScanFileReader {
public:
    static constexpr std::size_t kChunk = 65536;  // records read at a time

    explicit ScanFileReader(const std::string& path);

    const ScanHeader& Header() const { return header_; }
    std::uint64_t FileSize() const { return fileSize_; }
    std::uint64_t HeaderBytes() const { return headerBytes_; }
    // Byte position of record i.
    std::uint64_t RecordPosition(std::uint64_t i) const { return headerBytes_ + i * header_.RecordSize(); }
    // Reads the next records (at most kChunk) into buffer; returns how many.
    std::size_t ReadChunk(std::vector<unsigned char>& buffer);
    [[noreturn]] void Fail(const std::string& message) const;

private:
    void CheckPrefix();
    void CheckLength();

    std::string path_;
    lxbase::lxInFile file_;
    std::uint64_t fileSize_ = 0;
    std::uint64_t headerBytes_ = 0;
    std::uint64_t nextRecord_ = 0;
    ScanHeader header_;
};

// Reads the file back and checks that header and points are bit for bit
// those that were written.
void CompareScanFile(const std::string& path, const ScanHeader& written, const PointArray& points,
                     const Order& order, bool progress);

struct FileCheck {
    ScanHeader header;
    std::uint64_t fileSize = 0;
    double seconds = 0;
};

// Checks a scan file on its own: header, length, checksum, the normal codes,
// the Z-order of the points and the bounding box.
FileCheck CheckScanFile(const std::string& path, bool progress);

}  // namespace scan

#endif
