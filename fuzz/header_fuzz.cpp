// IOHeader::Read over arbitrary bytes: records of any length around the
// 1024-byte buffer, foreign identifiers, newer versions, truncated data. Every
// record found is written back and must read back the same.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "lxbase/exceptions.h"
#include "lxbase/header.h"

namespace {

constexpr std::uint32_t kBuffer = lxbase::IOHeader::sBufferSize;
constexpr std::uint64_t kGuid = 0x4655'5A5A'4845'4144ULL;  // "DAEHZZUF"

// Data sizes straddle the in-object buffer on both sides of its thresholds.
struct FuzzHeader : lxbase::IOHeader {
    std::vector<unsigned char> data;
    std::uint64_t HeaderGUID() const override { return kGuid; }
    std::uint32_t CurrentVersion() const override { return 5; }
    std::uint32_t DataSizeForVersion(std::uint32_t v) const override {
        static const std::uint32_t sizes[] = {0, 1, kBuffer - 16, kBuffer - 15, kBuffer, kBuffer + 1};
        return v < 6 ? sizes[v] : kBuffer;
    }
    void ReadData(const char* block) override {
        // A block is at least as long as this type's own layout needs, or it
        // lies in the object's buffer; in both cases this much is readable.
        const std::uint32_t n = DataSizeForVersion(GetReadVersion());
        data.assign(block, block + (GetReadVersion() <= CurrentVersion() ? std::min<std::uint32_t>(n, kBuffer) : 0));
    }
    void WriteData(char* block, std::uint32_t v) const override {
        const std::uint32_t n = DataSizeForVersion(v);
        std::memset(block, 0, n);
        if (!data.empty()) std::memcpy(block, data.data(), std::min<std::size_t>(n, data.size()));
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    lxbase::InMemoryStream in(bytes, size);
    for (int records = 0; records < 64; ++records) {
        FuzzHeader h;
        const std::uint64_t before = in.Tell();
        // Lengths of gigabytes are valid and handled (the block is mapped
        // lazily), but under AddressSanitizer each costs a second of shadow
        // bookkeeping; the header tests cover them, the fuzzer skips them.
        if (before + 16 <= size) {
            std::uint32_t length = 0;
            for (int i = 3; i >= 0; --i) length = (length << 8) | bytes[before + 12 + i];
            if (length > (1u << 20)) break;
        }
        std::uint32_t consumed = 0;
        try {
            consumed = h.Read(&in);
        } catch (const lxbase::LXOutOfMemoryException&) {
            return 0;  // a length the machine cannot hold: refused cleanly
        }
        if (consumed == 0) {
            // Refused (end of data or a foreign record) moves nothing; a record
            // of 2^32 - 16 bytes or more was consumed but its length wraps to 0.
            if (!h.IsValid() && in.Tell() != before) std::abort();
            break;
        }
        if (!h.IsValid()) std::abort();
        if (h.GetReadVersion() > h.CurrentVersion()) continue;  // newer: consumed, not rewritten
        lxbase::OutMemoryStream out;
        const std::uint32_t written = h.Write(&out, h.GetReadVersion());
        if (written != out.BufferSize()) std::abort();
        lxbase::InMemoryStream again(out.GetBuffer(), out.BufferSize());
        FuzzHeader back;
        if (back.Read(&again) != written || back.data != h.data) std::abort();
    }
    return 0;
}
