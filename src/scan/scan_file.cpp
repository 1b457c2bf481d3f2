#include "scan_file.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "progress.h"

namespace lxscan {

namespace {

// The host is little-endian (lxbase's packed record requires it), so the
// file's numbers are the bytes of the values.
template <class T>
void Put(char* data, std::size_t offset, const T& value) {
    std::memcpy(data + offset, &value, sizeof value);
}

template <class T>
T Get(const char* data, std::size_t offset) {
    T value;
    std::memcpy(&value, data + offset, sizeof value);
    return value;
}

void PutXYZ(char* data, std::size_t offset, const lxbase::XYZ& v) {
    Put(data, offset, v.x);
    Put(data, offset + 8, v.y);
    Put(data, offset + 16, v.z);
}

lxbase::XYZ GetXYZ(const char* data, std::size_t offset) {
    return lxbase::XYZ{Get<double>(data, offset), Get<double>(data, offset + 8), Get<double>(data, offset + 16)};
}

constexpr std::size_t kDateBytes = 32;

std::string Hex(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%016" PRIx64, value);
    return text;
}

// The first bytes of a foreign file, as far as they are printable.
std::string Printable(const unsigned char* bytes, std::size_t n) {
    std::string text;
    for (std::size_t i = 0; i < n; ++i) text += (bytes[i] >= 0x20 && bytes[i] < 0x7F) ? char(bytes[i]) : '.';
    return text;
}

bool SameRegistration(const lxbase::RegistrationInformation& a, const lxbase::RegistrationInformation& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool SameBox(const Box& a, const Box& b) {
    for (int axis = 0; axis < 3; ++axis)
        if (a.min[axis] != b.min[axis] || a.max[axis] != b.max[axis]) return false;
    return true;
}

}  // namespace

void ScanHeader::WriteData(char* data, std::uint32_t) const {
    std::memset(data, 0, kDataSize);
    std::memcpy(data, id.value, 16);
    std::memcpy(data + 16, date.data(), std::min(date.size(), kDateBytes - 1));
    PutXYZ(data, 48, registration.orientation.xAxis);
    PutXYZ(data, 72, registration.orientation.yAxis);
    PutXYZ(data, 96, registration.orientation.zAxis);
    PutXYZ(data, 120, registration.translation);
    Put(data, 144, pointCount);
    Put(data, 152, coordinateBytes);
    Put(data, 156, RecordSize());
    for (int axis = 0; axis < 3; ++axis) {
        Put(data, 160 + 8 * axis, box.min[axis]);
        Put(data, 184 + 8 * axis, box.max[axis]);
    }
    Put(data, 208, checksum);
    Put(data, 216, flags);
}

void ScanHeader::ReadData(const char* data) {
    // The pointer form copies 16 bytes; a char pointer would be parsed as text.
    id = lxbase::UUID(static_cast<const void*>(data));
    date.assign(data + 16, strnlen(data + 16, kDateBytes - 1));
    registration.orientation = lxbase::Orientation(GetXYZ(data, 48), GetXYZ(data, 72), GetXYZ(data, 96));
    registration.translation = GetXYZ(data, 120);
    pointCount = Get<std::uint64_t>(data, 144);
    coordinateBytes = Get<std::uint32_t>(data, 152);
    for (int axis = 0; axis < 3; ++axis) {
        box.min[axis] = Get<double>(data, 160 + 8 * axis);
        box.max[axis] = Get<double>(data, 184 + 8 * axis);
    }
    checksum = Get<std::uint64_t>(data, 208);
    flags = Get<std::uint32_t>(data, 216);
}

// Multiply-xorshift over 8-byte words, the length and a final avalanche.
void Checksum::Mix(std::uint64_t word) {
    state_ = (state_ ^ word) * 0x9FB21C651E98DF25ull;
    state_ ^= state_ >> 29;
}

void Checksum::Add(const unsigned char* bytes, std::size_t n) {
    length_ += n;
    while (pendingCount_ != 0 && n != 0) {
        pending_[pendingCount_++] = *bytes++;
        --n;
        if (pendingCount_ == 8) {
            Mix(Get<std::uint64_t>(reinterpret_cast<const char*>(pending_), 0));
            pendingCount_ = 0;
        }
    }
    for (; n >= 8; bytes += 8, n -= 8) Mix(Get<std::uint64_t>(reinterpret_cast<const char*>(bytes), 0));
    std::memcpy(pending_, bytes, n);
    pendingCount_ += n;
}

std::uint64_t Checksum::Value() const {
    Checksum last = *this;
    if (pendingCount_ != 0) {
        unsigned char word[8] = {};
        std::memcpy(word, pending_, pendingCount_);
        last.Mix(Get<std::uint64_t>(reinterpret_cast<const char*>(word), 0));
    }
    last.Mix(length_);
    std::uint64_t h = last.state_;
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDull;
    h ^= h >> 33;
    return h;
}

std::size_t EncodeRecords(const PointArray& points, const std::uint32_t* order, std::size_t n,
                          std::uint32_t coordinateBytes, unsigned char* out) {
    unsigned char* o = out;
    // The Z-order visits the points all over the array: each is fetched a
    // few records ahead, so that the misses overlap.
    constexpr std::size_t kAhead = 16;
    for (std::size_t i = 0; i < n; ++i) {
        if (i + kAhead < n) __builtin_prefetch(&points[order[i + kAhead]]);
        const ScanPoint& point = points[order[i]];
        const lxbase::tBaseXYZPoint<double>& p = point.position;
        if (coordinateBytes == 8) {
            std::memcpy(o, p.ToArray(), 24);
        } else {
            const float f[3] = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
            std::memcpy(o, f, 12);
        }
        o += 3 * coordinateBytes;
        std::memcpy(o, &point.attributes.codeWord, 4);
        std::memcpy(o + 4, &point.attributes.colourWord, 4);
        o += 8;
    }
    return static_cast<std::size_t>(o - out);
}

void DecodeRecord(const unsigned char* record, std::uint32_t coordinateBytes, ScanPoint& point) {
    const char* r = reinterpret_cast<const char*>(record);
    if (coordinateBytes == 8) {
        point.position = lxbase::tBaseXYZPoint<double>(Get<double>(r, 0), Get<double>(r, 8), Get<double>(r, 16));
    } else {
        point.position = lxbase::tBaseXYZPoint<double>(Get<float>(r, 0), Get<float>(r, 4), Get<float>(r, 8));
    }
    point.attributes.codeWord = Get<std::uint32_t>(r, 3 * coordinateBytes);
    point.attributes.colourWord = Get<std::uint32_t>(r, 3 * coordinateBytes + 4);
}

void WriteScanFile(const std::string& path, const PointArray& points, const Order& order, ScanHeader& header,
                   const ProgressCallback& progress) {
    header.pointCount = points.size();
    header.checksum = 0;
    AtomicOutput out(path);
    const std::size_t chunk = RecordFile::kChunk;
    std::vector<unsigned char> buffer(chunk * header.RecordSize());
    if (!out.Seekable()) {
        // A device, FIFO or standard output cannot be rewritten: the checksum
        // is found in a pass of its own, and the header written once.
        Checksum first;
        for (std::size_t begin = 0; begin < points.size(); begin += chunk) {
            const std::size_t n = std::min(chunk, points.size() - begin);
            first.Add(buffer.data(), EncodeRecords(points, &order[begin], n, header.coordinateBytes, buffer.data()));
        }
        header.checksum = first.Value();
    }
    // Otherwise the checksum is known only at the end: the header is written again then.
    out.WriteHeader(header);
    Checksum sum;
    Progress shown("writing", progress);
    for (std::size_t begin = 0; begin < points.size(); begin += chunk) {
        const std::size_t n = std::min(chunk, points.size() - begin);
        const std::size_t bytes = EncodeRecords(points, &order[begin], n, header.coordinateBytes, buffer.data());
        sum.Add(buffer.data(), bytes);
        out.Write(buffer.data(), bytes);
        shown.Update(static_cast<double>(begin + n) / points.size());
    }
    shown.Finish();
    header.checksum = sum.Value();
    if (out.Seekable()) {
        out.SeekTo(0);
        out.WriteHeader(header);
    }
    out.Commit();
}

RecordFile::RecordFile(const std::string& path) : path_(path) {
    errno = 0;
    if (!file_.Open(path)) {
        const int saved = errno;
        throw ScanError(path + ": cannot open: " + OpenFailureReason(path, saved));
    }
    fileSize_ = file_.GetFileSize();
    CheckPrefix();
    headerBytes_ = header_.Read(&file_);
    if (headerBytes_ == 0) Fail("byte 0: not a scan block");
    CheckLength();
}

void RecordFile::Fail(const std::string& message) const { throw ScanError(path_ + ": " + message); }

// The 16-byte block prefix is checked before IOHeader::Read sees it, so a
// foreign or damaged length never decides how much is read or allocated.
void RecordFile::CheckPrefix() {
    unsigned char prefix[16] = {};
    file_.Read(reinterpret_cast<char*>(prefix), sizeof prefix);
    const std::uint64_t got = file_.GetLastCount();
    if (!file_.SeekAbsolute(0)) Fail("cannot seek to byte 0");
    const char* p = reinterpret_cast<const char*>(prefix);
    if (got < 8 || Get<std::uint64_t>(p, 0) != ScanHeader::kIdentifier)
        Fail("byte 0: not a scan file (it begins with \"" + Printable(prefix, got < 8 ? got : 8) +
             "\", a scan file with \"LXSCANPT\")");
    if (got < 16) Fail("truncated at byte " + std::to_string(got) + ", inside the 16-byte block prefix");
    const std::uint32_t version = Get<std::uint32_t>(p, 8), length = Get<std::uint32_t>(p, 12);
    if (version != ScanHeader::kVersion)
        Fail("byte 8: format version " + std::to_string(version) + "; this program reads version " +
             std::to_string(ScanHeader::kVersion));
    if (length != ScanHeader::kDataSize)
        Fail("byte 12: header data length " + std::to_string(length) + "; version 1 has " +
             std::to_string(ScanHeader::kDataSize));
    if (fileSize_ < 16 + length)
        Fail("truncated at byte " + std::to_string(fileSize_) + ", inside the header (which ends at byte " +
             std::to_string(16 + length) + ")");
}

void RecordFile::CheckLength() {
    const std::uint32_t bytes = header_.coordinateBytes;
    if (bytes != 4 && bytes != 8)
        Fail("byte 168: coordinate size " + std::to_string(bytes) + " is neither 4 nor 8");
    const std::uint64_t record = header_.RecordSize();
    const std::uint64_t available = fileSize_ - headerBytes_;
    if (header_.pointCount > available / record)
        Fail("truncated at byte " + std::to_string(fileSize_) + ": the header announces " +
             std::to_string(header_.pointCount) + " points, the file holds " +
             std::to_string(available / record) + " complete ones");
    const std::uint64_t end = headerBytes_ + header_.pointCount * record;
    if (end != fileSize_)
        Fail("byte " + std::to_string(end) + ": " + std::to_string(fileSize_ - end) + " bytes after the last of " +
             std::to_string(header_.pointCount) + " points");
}

void RecordFile::ReadAt(std::uint64_t first, std::uint64_t count, unsigned char* out) {
    if (first > header_.pointCount || count > header_.pointCount - first)
        Fail("points " + std::to_string(first) + " to " + std::to_string(first + count) + " asked for; the file holds " +
             std::to_string(header_.pointCount));
    if (count == 0) return;
    const std::uint64_t bytes = count * header_.RecordSize();
    if (first != nextRecord_ && !file_.SeekAbsolute(RecordPosition(first)))
        Fail("cannot seek to byte " + std::to_string(RecordPosition(first)));
    errno = 0;
    file_.Read(reinterpret_cast<char*>(out), bytes);
    if (file_.GetLastCount() != bytes) {
        nextRecord_ = header_.pointCount + 1;  // the position is unknown now
        Fail("read error at byte " + std::to_string(RecordPosition(first) + file_.GetLastCount()) + ": " +
             (errno != 0 ? std::strerror(errno) : "the file is shorter than its header says"));
    }
    nextRecord_ = first + count;
}

std::size_t RecordFile::ReadChunk(std::uint64_t first, std::vector<unsigned char>& buffer) {
    const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, header_.pointCount - first));
    if (buffer.size() < n * header_.RecordSize()) buffer.resize(kChunk * header_.RecordSize());
    ReadAt(first, n, buffer.data());
    return n;
}

void CompareScanFile(const std::string& path, const ScanHeader& written, const PointArray& points,
                     const Order& order, const ProgressCallback& progress) {
    RecordFile reader(path);
    const ScanHeader& read = reader.Header();
    const char* differs = nullptr;
    if (read.id != written.id) differs = "identifier";
    else if (read.date != written.date) differs = "date";
    else if (!SameRegistration(read.registration, written.registration)) differs = "registration";
    else if (read.pointCount != points.size()) differs = "point count";
    else if (read.coordinateBytes != written.coordinateBytes) differs = "coordinate size";
    else if (!SameBox(read.box, written.box)) differs = "bounding box";
    else if (read.checksum != written.checksum || read.flags != written.flags) differs = "checksum or flags";
    if (differs != nullptr) reader.Fail(std::string("the header's ") + differs + " differs from the one written");

    // Every byte is compared with what the points encode to; the checksum
    // of those bytes is then the one written, which the header holds.
    std::vector<unsigned char> buffer, expected(RecordFile::kChunk * read.RecordSize());
    Progress shown("reading back", progress);
    for (std::size_t begin = 0; begin < points.size();) {
        const std::size_t n = reader.ReadChunk(begin, buffer);
        const std::size_t bytes = EncodeRecords(points, &order[begin], n, read.coordinateBytes, expected.data());
        if (std::memcmp(buffer.data(), expected.data(), bytes) != 0) {
            std::size_t i = 0;
            while (std::memcmp(&buffer[i * read.RecordSize()], &expected[i * read.RecordSize()], read.RecordSize()) == 0)
                ++i;
            reader.Fail("byte " + std::to_string(reader.RecordPosition(begin + i)) + ": point " +
                        std::to_string(begin + i) + " differs from the point written");
        }
        begin += n;
        shown.Update(static_cast<double>(begin) / points.size());
    }
    shown.Finish();
}

VerifyResult CheckScanFile(RecordFile& reader, const ProgressCallback& progress) {
    const Clock::time_point start = Clock::now();
    VerifyResult result;
    result.points = reader.Header().pointCount;
    result.fileSize = reader.FileSize();
    const ScanHeader& header = reader.Header();
    const std::uint32_t recordSize = header.RecordSize();
    Box box;
    ScanPoint previous, point;
    std::vector<unsigned char> buffer;
    Checksum sum;
    Progress shown("verifying", progress);
    for (std::uint64_t index = 0; index < header.pointCount;) {
        const std::size_t n = reader.ReadChunk(index, buffer);
        sum.Add(buffer.data(), n * recordSize);
        for (std::size_t i = 0; i < n; ++i, ++index) {
            DecodeRecord(&buffer[i * recordSize], header.coordinateBytes, point);
            const std::string where = "byte " + std::to_string(reader.RecordPosition(index)) + ": point " +
                                      std::to_string(index);
            if (point.attributes.GetNormalCode() > lxbase::HNormalRGB::sLargestNormalCode)
                reader.Fail(where + " has normal code " + std::to_string(point.attributes.GetNormalCode()) +
                            ", which stands for no direction");
            if (index > 0 && point.position < previous.position) reader.Fail(where + " is out of Z-order");
            ExtendBox(box, point.position, index == 0);
            previous = point;
        }
        shown.Update(static_cast<double>(index) / header.pointCount);
    }
    shown.Finish();
    if (sum.Value() != header.checksum)
        reader.Fail("checksum of the points is " + Hex(sum.Value()) + ", the header says " + Hex(header.checksum) +
                    ": the file was changed after it was written");
    if (!SameBox(box, header.box)) reader.Fail("byte 176: the bounding box differs from the points'");
    result.seconds = SecondsSince(start);
    return result;
}

}  // namespace lxscan
