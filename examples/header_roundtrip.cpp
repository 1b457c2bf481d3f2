// Writes a versioned header and a payload into memory, reads both back and
// reports what it found: the road every serialised block of the system takes.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <lxbase/lxbase.h>

namespace {

// A concrete header: a scan block announcing how many points follow.
// Version 1 stored the point count only; version 2 adds the scanner's range.
struct ScanBlockHeader : lxbase::IOHeader {
    std::uint64_t pointCount = 0;
    double maxRange = 0.0;

    std::uint64_t HeaderGUID() const override { return 0x4C585343414E3031ULL; }  // "LXSCAN01"
    std::uint32_t CurrentVersion() const override { return 2; }
    std::uint32_t DataSizeForVersion(std::uint32_t version) const override {
        return version >= 2 ? 16 : 8;
    }
    void WriteData(char* data, std::uint32_t version) const override {
        std::memcpy(data, &pointCount, 8);
        if (version >= 2) std::memcpy(data + 8, &maxRange, 8);
    }
    void ReadData(const char* data) override {
        std::memcpy(&pointCount, data, 8);
        maxRange = 0.0;
        if (GetReadVersion() >= 2) std::memcpy(&maxRange, data + 8, 8);
    }
};

}  // namespace

int main() {
    std::vector<float> payload;
    for (int i = 0; i < 300; ++i) payload.push_back(0.25f * static_cast<float>(i));

    ScanBlockHeader written;
    written.pointCount = payload.size() / 3;
    written.maxRange = 74.75;

    lxbase::OutMemoryStream out;
    const std::uint32_t headerBytes = written.Write(&out);
    out.Write(reinterpret_cast<const char*>(payload.data()), payload.size() * sizeof(float));
    std::printf("wrote header of %u bytes (version %u) and %zu payload bytes; block is %llu bytes\n",
                headerBytes, written.GetReadVersion(), payload.size() * sizeof(float),
                static_cast<unsigned long long>(out.BufferSize()));

    lxbase::InMemoryStream in(out.GetBuffer(), out.BufferSize());
    ScanBlockHeader read;
    const std::uint32_t consumed = read.Read(&in);
    if (consumed == 0 || !read.IsValid()) {
        std::fprintf(stderr, "error: no scan block header at byte 0\n");
        return 1;
    }
    std::vector<float> back(read.pointCount * 3);
    in.Read(reinterpret_cast<char*>(back.data()), back.size() * sizeof(float));
    if (in.GetLastCount() != back.size() * sizeof(float) || back != payload ||
        read.maxRange != written.maxRange) {
        std::fprintf(stderr, "error: payload differs after the round trip\n");
        return 1;
    }
    std::printf("read header of %u bytes: version %u, %llu points, range %.2f\n", consumed,
                read.GetReadVersion(), static_cast<unsigned long long>(read.pointCount), read.maxRange);
    std::printf("payload of %llu bytes verified, stream at byte %llu of %llu\n",
                static_cast<unsigned long long>(in.GetLastCount()),
                static_cast<unsigned long long>(in.Tell()),
                static_cast<unsigned long long>(out.BufferSize()));
    return 0;
}
