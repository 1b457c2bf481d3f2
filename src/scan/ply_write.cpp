// Writing binary little-endian PLY vertices.
#include <lxscan/ply.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include <lxscan/output.h>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are copied in the machine's byte order");

namespace lxscan {

namespace {

float CoordinateAsFloat(double v) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    if (v > kLargest) return std::numeric_limits<float>::infinity();
    if (v < -kLargest) return -std::numeric_limits<float>::infinity();
    return static_cast<float>(v);
}

std::size_t RecordSizeOf(const PlyWriteLayout& layout) {
    return (layout.doubleCoordinates ? 24u : 12u) + (layout.colour ? 3u : 0u) + (layout.intensity ? 1u : 0u) +
           (layout.normals ? 12u : 0u);
}

// Encodes n vertices; the layout's flags are template parameters so that
// each combination is a loop of fixed-size copies.
template <bool Double, bool Colour, bool Intensity, bool Normals>
void Encode(std::size_t n, const double* xyz, const std::uint8_t* rgb, const std::uint8_t* intensity,
            const float* normals, char* out) {
    for (std::size_t i = 0; i < n; ++i) {
        if (Double) {
            std::memcpy(out, xyz + 3 * i, 24);
            out += 24;
        } else {
            const float p[3] = {CoordinateAsFloat(xyz[3 * i]), CoordinateAsFloat(xyz[3 * i + 1]),
                                CoordinateAsFloat(xyz[3 * i + 2])};
            std::memcpy(out, p, 12);
            out += 12;
        }
        if (Colour) {
            std::memcpy(out, rgb + 3 * i, 3);
            out += 3;
        }
        if (Intensity) *out++ = static_cast<char>(intensity[i]);
        if (Normals) {
            std::memcpy(out, normals + 3 * i, 12);
            out += 12;
        }
    }
}

using Encoder = void (*)(std::size_t, const double*, const std::uint8_t*, const std::uint8_t*, const float*, char*);

template <bool Double, bool Colour, bool Intensity>
Encoder PickNormals(bool normals) {
    return normals ? Encode<Double, Colour, Intensity, true> : Encode<Double, Colour, Intensity, false>;
}
template <bool Double, bool Colour>
Encoder PickIntensity(const PlyWriteLayout& l) {
    return l.intensity ? PickNormals<Double, Colour, true>(l.normals) : PickNormals<Double, Colour, false>(l.normals);
}
template <bool Double>
Encoder PickColour(const PlyWriteLayout& l) {
    return l.colour ? PickIntensity<Double, true>(l) : PickIntensity<Double, false>(l);
}
Encoder PickEncoder(const PlyWriteLayout& l) {
    return l.doubleCoordinates ? PickColour<true>(l) : PickColour<false>(l);
}

}  // namespace

PlyWriter::PlyWriter(OutputFile& out, std::uint64_t count, const PlyWriteLayout& layout, const std::string& comment)
    : out_(out), count_(count), layout_(layout), recordSize_(RecordSizeOf(layout)) {
    std::string header = "ply\nformat binary_little_endian 1.0\n";
    if (!comment.empty() && comment.find('\n') == std::string::npos) header += "comment " + comment + "\n";
    header += "element vertex " + std::to_string(count) + "\n";
    const char* type = layout.doubleCoordinates ? "double" : "float";
    for (const char* axis : {"x", "y", "z"}) header += std::string("property ") + type + " " + axis + "\n";
    if (layout.colour) header += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    if (layout.intensity) header += "property uchar intensity\n";
    if (layout.normals) header += "property float nx\nproperty float ny\nproperty float nz\n";
    header += "end_header\n";
    out_.Write(header.data(), header.size());
}

void PlyWriter::Add(std::size_t n, const double* xyz, const std::uint8_t* rgb, const std::uint8_t* intensity,
                    const float* normals) {
    if (n > count_ - added_)
        throw ScanError(out_.Path() + ": more vertices than the " + std::to_string(count_) + " the header announces");
    if ((layout_.colour && !rgb) || (layout_.intensity && !intensity) || (layout_.normals && !normals) || !xyz)
        throw ScanError(out_.Path() + ": a field of the PLY layout was not given");
    const Encoder encode = PickEncoder(layout_);
    const std::size_t perBlock = OutputFile::kBufferSize / recordSize_;
    for (std::size_t done = 0; done < n;) {
        const std::size_t k = std::min(perBlock, n - done);
        encode(k, xyz + 3 * done, rgb ? rgb + 3 * done : nullptr, intensity ? intensity + done : nullptr,
               normals ? normals + 3 * done : nullptr, out_.Reserve(k * recordSize_));
        out_.Advance(k * recordSize_);
        done += k;
    }
    added_ += n;
}

void PlyWriter::Finish() {
    if (added_ != count_)
        throw ScanError(out_.Path() + ": " + std::to_string(added_) + " vertices written, the header announces " +
                        std::to_string(count_));
}

}  // namespace lxscan
