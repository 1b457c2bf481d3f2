// The header block of a scan file (an lxbase::IOHeader) and the checksum of
// its point records. docs/scan-format.md describes the file byte by byte.
#ifndef LXSCAN_SCAN_HEADER_H
#define LXSCAN_SCAN_HEADER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <lxbase/lxbase.h>
#include <lxscan/export.h>
#include <lxscan/types.h>

namespace lxscan {

struct LXSCAN_API ScanHeader : lxbase::IOHeader {
    static constexpr std::uint64_t kIdentifier = 0x54504E414353584Cull;  // "LXSCANPT" on disk
    static constexpr std::uint32_t kVersion = 1;
    static constexpr std::uint32_t kDataSize = 224;
    static constexpr std::uint32_t kColourFromInput = 1;  // flags
    static constexpr std::uint32_t kHasNormals = 2;

    lxbase::UUID id;
    std::string date;  // compact ISO text, at most 31 bytes
    lxbase::RegistrationInformation registration;
    std::uint64_t pointCount = 0;
    std::uint32_t coordinateBytes = 8;  // 4 (float) or 8 (double)
    Box box;
    std::uint64_t checksum = 0;
    std::uint32_t flags = 0;

    ScanHeader() = default;
    ScanHeader(const ScanHeader&) = default;
    ScanHeader& operator=(const ScanHeader&) = default;
    ~ScanHeader() = default;

    std::uint32_t RecordSize() const { return 3 * coordinateBytes + 8; }
    bool ColourFromInput() const { return (flags & kColourFromInput) != 0; }
    bool HasNormals() const { return (flags & kHasNormals) != 0; }

    std::uint64_t HeaderGUID() const override { return kIdentifier; }
    std::uint32_t DataSizeForVersion(std::uint32_t) const override { return kDataSize; }
    std::uint32_t CurrentVersion() const override { return kVersion; }
    void ReadData(const char* data) override;
    void WriteData(char* data, std::uint32_t version) const override;
};

// The 64-bit checksum of the point records; the value does not depend on
// how the bytes are split between calls of Add.
class LXSCAN_API Checksum {
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

}  // namespace lxscan

#endif
