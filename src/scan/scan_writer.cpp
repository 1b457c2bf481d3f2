#include <lxscan/scan_writer.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <sys/stat.h>

#include "pipeline.h"
#include "progress.h"
#include "scan_file.h"
#include "writer_internal.h"
#include "zorder_sort.h"

namespace lxscan {

ScanWriter::Impl::Impl(const ScanWriterOptions& options)
    : options(options) {
    if (options.coordinateBytes != 4 && options.coordinateBytes != 8)
        throw ScanError("coordinate size " + std::to_string(options.coordinateBytes) + ": 4 (float) or 8 (double)");
}

Packer ScanWriter::Impl::MakePacker() const {
    return Packer(options.registration, options.pointsInScannerSystem, options.coordinateBytes == 4);
}

void ScanWriter::Impl::Reserve(std::uint64_t count) {
    if (count > points.size() && count < kMaxPoints) points.reserve(static_cast<std::size_t>(count));
}

void ScanWriter::Impl::Append(const ScanPoint* begin, std::size_t n, const PackStats& packed, bool coloured) {
    if (n > kMaxPoints - points.size())
        throw ScanError("more points than the " + std::to_string(kMaxPoints) + " a scan file holds");
    const std::uint64_t first = points.size();
    if (!coloured) {
        if (!uncoloured.empty() && uncoloured.back().second == first) uncoloured.back().second += n;
        else uncoloured.emplace_back(first, first + n);
    }
    points.insert(points.end(), begin, begin + n);
    stats.Merge(packed);
    sorted = false;
}

void ScanWriter::Impl::AddRecord(const LocalRecord& record) {
    if (!packer) packer.emplace(MakePacker());
    ScanPoint point;
    PackStats packed;
    packer->Pack(record, point, packed);
    Append(&point, 1, packed, record.hasColour);
}

ScanWriter::ScanWriter(const ScanWriterOptions& options) : impl_(std::make_unique<Impl>(options)) {}
ScanWriter::ScanWriter(ScanWriter&&) noexcept = default;
ScanWriter& ScanWriter::operator=(ScanWriter&&) noexcept = default;
ScanWriter::~ScanWriter() = default;

ScanWriter::Impl& Internals(ScanWriter& writer) { return *writer.impl_; }

LocalRecord ToRecord(const double* xyz, const std::uint8_t* rgb, std::uint8_t intensity, const float* normal) {
    LocalRecord record;
    record.position = lxbase::tBaseXYZPoint<double>(xyz[0], xyz[1], xyz[2]);
    if (rgb != nullptr) {
        record.hasColour = true;
        record.red = rgb[0];
        record.green = rgb[1];
        record.blue = rgb[2];
    }
    record.intensity = intensity;
    if (normal != nullptr && (normal[0] != 0.0f || normal[1] != 0.0f || normal[2] != 0.0f)) {
        record.hasNormal = true;
        record.normal = lxbase::tBaseXYZPoint<double>(normal[0], normal[1], normal[2]);
    }
    return record;
}

void ScanWriter::Add(const PointInput& point) {
    impl_->AddRecord(ToRecord(point.xyz, point.hasColour ? point.rgb : nullptr, point.intensity, point.normal));
}

void ScanWriter::Add(std::size_t n, const double* xyz, const std::uint8_t* rgb, const std::uint8_t* intensity,
                     const float* normals) {
    // Growth by half at least, so that many small arrays cost no quadratic copying.
    const std::uint64_t needed = impl_->points.size() + static_cast<std::uint64_t>(n);
    if (needed > impl_->points.capacity())
        impl_->Reserve(std::max<std::uint64_t>(needed, impl_->points.capacity() + impl_->points.capacity() / 2));
    for (std::size_t i = 0; i < n; ++i) {
        try {
            impl_->AddRecord(ToRecord(xyz + 3 * i, rgb != nullptr ? rgb + 3 * i : nullptr,
                                      intensity != nullptr ? intensity[i] : 0,
                                      normals != nullptr ? normals + 3 * i : nullptr));
        } catch (const ScanError& error) {
            throw ScanError("point " + std::to_string(i) + " of the array: " + error.what());
        }
    }
}

std::uint64_t ScanWriter::Count() const { return impl_->points.size(); }
Box ScanWriter::Bounds() const { return impl_->stats.box; }

void ScanWriter::Impl::Prepare() {
    if (points.empty()) throw ScanError("no points to write");
    if (!uncoloured.empty()) {
        for (const auto& range : uncoloured) ColourByHeight(points.data() + range.first, points.data() + range.second, stats.box);
        colouredByHeight = true;
        uncoloured.clear();
    }
    if (!sorted) {
        Progress shown("sorting", options.progress);
        order = SortZOrder(points);
        shown.Finish();
        sorted = true;
    }
    header.id = options.id;
    static const unsigned char kZeros[16] = {};
    if (std::memcmp(header.id.value, kZeros, sizeof kZeros) == 0) header.id = lxbase::UUID::Generate();
    header.date = options.date.empty() ? lxbase::Encode_UTF8(lxbase::Date::Now().ToISOString()) : options.date;
    header.registration = options.registration;
    header.coordinateBytes = options.coordinateBytes;
    header.box = stats.box;
    header.flags = (colouredByHeight ? 0 : ScanHeader::kColourFromInput) |
                   (stats.normals != 0 ? ScanHeader::kHasNormals : 0);
}

void RefuseDirectory(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) throw ScanError(path + ": is a directory");
}

ScanHeader ScanWriter::Write(const std::string& path) {
    RefuseDirectory(path);
    impl_->Prepare();
    WriteScanFile(path, impl_->points, impl_->order, impl_->header, impl_->options.progress);
    return impl_->header;
}

void ScanWriter::CompareWithFile(const std::string& path) const {
    if (!impl_->sorted) throw ScanError(path + ": nothing written to compare with");
    CompareScanFile(path, impl_->header, impl_->points, impl_->order, impl_->options.progress);
}

}  // namespace lxscan
