#include <lxscan/scan_reader.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "scan_file.h"

namespace lxscan {

struct ScanReader::Impl {
    explicit Impl(const std::string& path) : file(path), path(path) {}
    RecordFile file;
    std::string path;
    std::vector<unsigned char> buffer;
};

ScanReader::ScanReader(const std::string& path) : impl_(std::make_unique<Impl>(path)) {}
ScanReader::ScanReader(ScanReader&&) noexcept = default;
ScanReader& ScanReader::operator=(ScanReader&&) noexcept = default;
ScanReader::~ScanReader() = default;

const std::string& ScanReader::Path() const { return impl_->path; }
const ScanHeader& ScanReader::Header() const { return impl_->file.Header(); }
std::uint64_t ScanReader::FileSize() const { return impl_->file.FileSize(); }
std::uint64_t ScanReader::RecordOffset() const { return impl_->file.HeaderBytes(); }

void ScanReader::ReadRecords(std::uint64_t first, std::uint64_t count, unsigned char* out) {
    impl_->file.ReadAt(first, count, out);
}

void ScanReader::Read(std::uint64_t first, std::uint64_t count, double* xyz, std::uint8_t* rgb,
                      std::uint8_t* intensity, float* normals, std::uint16_t* normalCodes) {
    RecordFile& file = impl_->file;
    const std::uint32_t size = RecordSize(), bytes = Header().coordinateBytes;
    // Checked before anything is read, so that a bad range changes no array.
    file.ReadAt(first, 0, nullptr);
    if (count > Count() - first) file.ReadAt(first, count, nullptr);
    ScanPoint point;
    for (std::uint64_t done = 0; done < count;) {
        const std::size_t n = file.ReadChunk(first + done, impl_->buffer);
        const std::size_t take = static_cast<std::size_t>(std::min<std::uint64_t>(n, count - done));
        for (std::size_t i = 0; i < take; ++i, ++done) {
            DecodeRecord(&impl_->buffer[i * size], bytes, point);
            const lxbase::HNormalRGB& a = point.attributes;
            if (xyz != nullptr) std::memcpy(xyz + 3 * done, point.position.ToArray(), 24);
            if (rgb != nullptr) {
                rgb[3 * done] = a.Red();
                rgb[3 * done + 1] = a.Green();
                rgb[3 * done + 2] = a.Blue();
            }
            if (intensity != nullptr) intensity[done] = a.Intensity();
            if (normals != nullptr) std::memcpy(normals + 3 * done, a.GetNormal().ToArray(), 12);
            if (normalCodes != nullptr) normalCodes[done] = a.GetNormalCode();
        }
    }
}

VerifyResult ScanReader::Verify(const ProgressCallback& progress) { return CheckScanFile(impl_->file, progress); }

}  // namespace lxscan
