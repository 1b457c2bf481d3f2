// Records of the scan file: encoding, writing, reading back (internal).
// The header block and the layout: <lxscan/scan_header.h>, docs/scan-format.md.
#ifndef LXSCAN_SRC_SCAN_FILE_H
#define LXSCAN_SRC_SCAN_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <lxscan/scan_header.h>
#include <lxscan/scan_reader.h>

#include "output_file.h"
#include "scan_internal.h"

namespace lxscan {

// Encodes the n points that order names as records of the given coordinate
// size; returns the bytes written to out (n * record size).
std::size_t EncodeRecords(const PointArray& points, const std::uint32_t* order, std::size_t n,
                          std::uint32_t coordinateBytes, unsigned char* out);
void DecodeRecord(const unsigned char* record, std::uint32_t coordinateBytes, ScanPoint& point);

// Writes the header and the points in the given order; the header's checksum
// and point count are filled in. The file appears under its name only when complete.
void WriteScanFile(const std::string& path, const PointArray& points, const Order& order, ScanHeader& header,
                   const ProgressCallback& progress);

// Opens a scan file and checks its header and length against each other.
// Every failure is a ScanError naming the file and the byte position.
class RecordFile {
public:
    static constexpr std::size_t kChunk = 65536;  // records read at a time

    explicit RecordFile(const std::string& path);

    const ScanHeader& Header() const { return header_; }
    std::uint64_t FileSize() const { return fileSize_; }
    std::uint64_t HeaderBytes() const { return headerBytes_; }
    // Byte position of record i.
    std::uint64_t RecordPosition(std::uint64_t i) const { return headerBytes_ + i * header_.RecordSize(); }
    // Reads records [first, first + count) into out; the range is checked.
    void ReadAt(std::uint64_t first, std::uint64_t count, unsigned char* out);
    // Reads the records from first on (at most kChunk) into buffer; returns how many.
    std::size_t ReadChunk(std::uint64_t first, std::vector<unsigned char>& buffer);
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
                     const Order& order, const ProgressCallback& progress);

VerifyResult CheckScanFile(RecordFile& reader, const ProgressCallback& progress);

}  // namespace lxscan

#endif
