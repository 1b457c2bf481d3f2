// Reading the vertices of a PLY file.
//
// Binary vertices are fixed-size records: each wanted property is gathered
// from a block of records in a loop of its own, specialised for its type and
// byte order, so the inner loops are plain loads and conversions. ASCII
// vertices are one line each.
#include <lxscan/ply.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "ply_layout.h"

namespace lxscan {

namespace {

using ply::Field;
using ply::Type;

template <class T>
T ByteSwapped(T value) {
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    std::reverse(bytes, bytes + sizeof(T));
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

template <class T, bool Swap>
T Load(const char* p) {
    T value;
    std::memcpy(&value, p, sizeof(T));
    if (Swap) value = ByteSwapped(value);
    return value;
}

// A double as float; beyond float's range an infinity of the same sign (a
// plain conversion would be undefined there), NaN stays NaN.
float NarrowToFloat(double v) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    if (v > kLargest) return std::numeric_limits<float>::infinity();
    if (v < -kLargest) return -std::numeric_limits<float>::infinity();
    return static_cast<float>(v);
}

// Colour channels: uchar as they are, ushort scaled down to 8 bits, other
// integers clamped to 0..255, floats taken as fractions 0..1.
// Intensity: the same, except that floats are taken as 0..255 (clamped,
// rounded), as point libraries store scanner intensities.
template <class T>
std::uint8_t ToByte(T v, bool fractions) {
    if (std::is_same<T, std::uint8_t>::value) return static_cast<std::uint8_t>(v);
    if (std::is_same<T, std::uint16_t>::value) return static_cast<std::uint8_t>(static_cast<unsigned>(v) >> 8);
    if (std::is_floating_point<T>::value) {
        double d = static_cast<double>(v);
        if (fractions) d *= 255.0;
        if (!(d > 0.0)) return 0;  // also NaN
        if (d >= 255.0) return 255;
        return static_cast<std::uint8_t>(d + 0.5);
    }
    if (v <= 0) return 0;
    if (static_cast<double>(v) >= 255.0) return 255;
    return static_cast<std::uint8_t>(v);
}

// Calls f with a value of the C++ type of `type` (the value itself unused).
template <class F>
void WithType(Type type, F&& f) {
    switch (type) {
        case Type::Int8: return f(std::int8_t{});
        case Type::UInt8: return f(std::uint8_t{});
        case Type::Int16: return f(std::int16_t{});
        case Type::UInt16: return f(std::uint16_t{});
        case Type::Int32: return f(std::int32_t{});
        case Type::UInt32: return f(std::uint32_t{});
        case Type::Float32: return f(float{});
        case Type::Float64: return f(double{});
    }
}

// out[i * step] = convert(value of record i) for n records.
template <class T, bool Swap, class Out, class Convert>
void Gather(const char* first, std::size_t stride, std::size_t n, Out* out, std::size_t step, Convert convert) {
    for (std::size_t i = 0; i < n; ++i) out[i * step] = convert(Load<T, Swap>(first + i * stride));
}

template <bool Swap, class Out, class Convert>
void GatherAs(Type type, const char* first, std::size_t stride, std::size_t n, Out* out, std::size_t step,
              Convert convert) {
    WithType(type, [&](auto tag) { Gather<decltype(tag), Swap>(first, stride, n, out, step, convert); });
}

constexpr std::size_t kDecodeBytes = std::size_t{64} << 10;

bool Finite3(const double* p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

}  // namespace

bool LooksLikePly(std::string_view firstBytes) {
    if (firstBytes.substr(0, 3) == "\xEF\xBB\xBF") firstBytes.remove_prefix(3);
    return firstBytes.substr(0, 4) == "ply\n" || firstBytes.substr(0, 5) == "ply\r\n";
}

struct PlyReader::Impl {
    std::string path;
    PlyReadOptions options;
    ply::Input input;
    ply::Header header;
    std::uint64_t consumed = 0;      // vertices read, skipped ones included
    std::uint64_t skipped = 0;
    std::uint64_t line = 0;          // ascii: the last line read
    bool positioned = false;         // at the first vertex

    Impl(const std::string& p, PlyReadOptions o) : path(p), options(o), input(p), header(ply::ReadHeader(input, p)) {
        line = header.lines;
        CheckLength();
    }

    const ply::Element& Vertex() const { return header.elements[header.vertex]; }
    bool Binary() const { return header.format != PlyFormat::Ascii; }
    bool Swap() const { return header.format == PlyFormat::BinaryBigEndian; }

    [[noreturn]] void FailAtByte(std::uint64_t byte, const std::string& message) const {
        throw ScanError(path + ": byte " + std::to_string(byte) + ": " + message);
    }
    [[noreturn]] void FailAtLine(const std::string& message) const {
        throw ScanError(path + ":" + std::to_string(line) + ": " + message);
    }

    // A binary file whose elements up to the vertices have fixed sizes must
    // hold them all: a count larger than the data is named before any
    // reading (and no capacity is ever based on it).
    void CheckLength() {
        if (!Binary() || !input.Regular()) return;
        std::uint64_t end = header.dataStart;
        for (std::size_t i = 0; i <= header.vertex; ++i) {
            const ply::Element& element = header.elements[i];
            if (element.HasLists()) return;
            const std::uint64_t size = element.RecordSize();
            const std::uint64_t room = input.FileSize() > end ? input.FileSize() - end : 0;
            if (size != 0 && element.count > room / size) {
                FailAtByte(input.FileSize(), "the file ends inside " + element.name + " " +
                                                 std::to_string(room / size) + " of the " +
                                                 std::to_string(element.count) + " the header announces (line " +
                                                 std::to_string(element.line) + ")");
            }
            end += element.count * size;
        }
    }

    void SkipTo() {
        positioned = true;
        for (std::size_t i = 0; i < header.vertex; ++i) {
            const ply::Element& element = header.elements[i];
            for (std::uint64_t item = 0; item < element.count; ++item) {
                if (Binary()) {
                    SkipBinaryItem(element, item);
                } else {
                    std::string_view text;
                    if (!NextLine(text))
                        FailAtLine("the file ends inside " + element.name + " " + std::to_string(item) + " of " +
                                   std::to_string(element.count));
                }
            }
        }
    }

    void Need(std::size_t n, const std::string& what) {
        if (input.Fill(n) < n) FailAtByte(input.Position() + input.Available(), "the file ends inside " + what);
    }

    void SkipBinaryItem(const ply::Element& element, std::uint64_t item) {
        const std::string what = element.name + " " + std::to_string(item);
        for (const ply::Property& property : element.properties) {
            const std::size_t size = ply::TypeSize(property.type);
            if (!property.list) {
                Need(size, what);
                input.Consume(size);
                continue;
            }
            const std::size_t countSize = ply::TypeSize(property.countType);
            Need(countSize, what);
            std::uint64_t count = 0;
            bool negative = false;
            const char* p = input.Data();
            WithType(property.countType, [&](auto tag) {
                using T = decltype(tag);
                const T v = Swap() ? Load<T, true>(p) : Load<T, false>(p);
                negative = v < 0;
                count = negative ? 0 : static_cast<std::uint64_t>(v);
            });
            if (negative) FailAtByte(input.Position(), what + " has a list of negative length");
            input.Consume(countSize);
            for (std::uint64_t k = 0; k < count; ++k) {  // entries may exceed the buffer together
                Need(size, what);
                input.Consume(size);
            }
        }
    }

    // The next non-blank line; false at the end of the file.
    bool NextLine(std::string_view& text) {
        for (;;) {
            std::size_t scanned = 0;
            const char* newline = nullptr;
            for (;;) {
                const std::size_t available = input.Fill(scanned + 1);
                newline = static_cast<const char*>(std::memchr(input.Data() + scanned, '\n', available - scanned));
                if (newline != nullptr || available <= scanned) break;
                scanned = available;
            }
            const std::size_t available = input.Available();
            if (available == 0) return false;
            const std::size_t length = newline ? static_cast<std::size_t>(newline - input.Data()) : available;
            text = std::string_view(input.Data(), length);
            input.Consume(newline ? length + 1 : length);
            ++line;
            if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
            if (text.find_first_not_of(" \t") != std::string_view::npos) return true;
        }
    }

    std::size_t ReadBinary(std::size_t n, double* xyz, std::uint8_t* rgb, std::uint8_t* intensity, float* normals) {
        const ply::Element& vertex = Vertex();
        const std::size_t stride = vertex.RecordSize();
        n = std::min(n, std::max<std::size_t>(1, (std::size_t{4} << 20) / stride));
        const std::size_t have = input.Fill(n * stride);
        if (have < n * stride) {
            FailAtByte(input.Position() + have, "the file ends inside vertex " +
                                                    std::to_string(consumed + have / stride) + " of the " +
                                                    std::to_string(vertex.count) + " the header announces");
        }
        // Each field is gathered in a pass of its own: in sub-blocks that stay
        // in the cache between the passes.
        const std::size_t perPass = std::max<std::size_t>(1, kDecodeBytes / stride);
        for (std::size_t first = 0; first < n; first += perPass) {
            const std::size_t k = std::min(perPass, n - first);
            const char* records = input.Data() + first * stride;
            double* x = xyz ? xyz + 3 * first : nullptr;
            std::uint8_t* c = rgb ? rgb + 3 * first : nullptr;
            std::uint8_t* i = intensity ? intensity + first : nullptr;
            float* v = normals ? normals + 3 * first : nullptr;
            if (Swap()) {
                Decode<true>(records, stride, k, x, c, i, v);
            } else {
                Decode<false>(records, stride, k, x, c, i, v);
            }
        }
        input.Consume(n * stride);
        return n;
    }

    template <bool Swap>
    void Decode(const char* records, std::size_t stride, std::size_t n, double* xyz, std::uint8_t* rgb,
                std::uint8_t* intensity, float* normals) const {
        const auto field = [&](Field f) -> const ply::Property& {
            return Vertex().properties[static_cast<std::size_t>(header.propertyOf[f])];
        };
        const auto toDouble = [](auto v) { return static_cast<double>(v); };
        const auto toFloat = [](auto v) { return NarrowToFloat(static_cast<double>(v)); };
        const auto colour = [](auto v) { return ToByte(v, true); };
        const auto level = [](auto v) { return ToByte(v, false); };
        for (int axis = 0; axis < 3 && xyz; ++axis) {
            const ply::Property& p = field(static_cast<Field>(ply::kX + axis));
            GatherAs<Swap>(p.type, records + p.offset, stride, n, xyz + axis, 3, toDouble);
        }
        for (int c = 0; c < 3 && rgb && header.present[ply::kRed]; ++c) {
            const ply::Property& p = field(static_cast<Field>(ply::kRed + c));
            GatherAs<Swap>(p.type, records + p.offset, stride, n, rgb + c, 3, colour);
        }
        if (intensity && header.present[ply::kIntensity]) {
            const ply::Property& p = field(ply::kIntensity);
            GatherAs<Swap>(p.type, records + p.offset, stride, n, intensity, 1, level);
        }
        for (int axis = 0; axis < 3 && normals && header.present[ply::kNx]; ++axis) {
            const ply::Property& p = field(static_cast<Field>(ply::kNx + axis));
            GatherAs<Swap>(p.type, records + p.offset, stride, n, normals + axis, 3, toFloat);
        }
    }

    // One value of an ascii vertex line, checked against its declared type.
    double ParseValue(const char*& p, const char* end, const ply::Property& property, std::uint64_t index) {
        while (p < end && (*p == ' ' || *p == '\t')) ++p;
        const char* start = p;
        while (p < end && *p != ' ' && *p != '\t') ++p;
        if (start == p)
            FailAtLine("vertex " + std::to_string(index) + " has too few values: property '" + property.name +
                       "' is missing");
        double value = 0;
        if (*start == '+') ++start;  // from_chars takes no plus sign
        const auto result = std::from_chars(start, p, value);
        if (result.ec == std::errc::result_out_of_range) {
            value = (*start == '-') ? -HUGE_VAL : HUGE_VAL;  // as a binary double would hold it
        } else if (result.ec != std::errc() || result.ptr != p) {
            FailAtLine("vertex " + std::to_string(index) + ": property '" + property.name + "' is '" +
                       std::string(start, p) + "', not a number");
        }
        const bool integral = property.type != Type::Float32 && property.type != Type::Float64;
        if (integral) {
            bool fits = false;
            WithType(property.type, [&](auto tag) {
                using T = decltype(tag);
                fits = value == std::floor(value) && value >= double(std::numeric_limits<T>::lowest()) &&
                       value <= double(std::numeric_limits<T>::max());
            });
            if (!fits)
                FailAtLine("vertex " + std::to_string(index) + ": property '" + property.name + "' is '" +
                           std::string(start, p) + "', not a " + ply::TypeName(property.type));
        }
        return value;
    }

    std::size_t ReadAscii(std::size_t n, double* xyz, std::uint8_t* rgb, std::uint8_t* intensity, float* normals) {
        const ply::Element& vertex = Vertex();
        std::size_t kept = 0;
        double values[ply::kFieldCount];
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint64_t index = consumed + i;
            std::string_view text;
            if (!NextLine(text))
                FailAtLine("the file ends after " + std::to_string(index) + " of the " + std::to_string(vertex.count) +
                           " vertices the header announces");
            const char* p = text.data();
            const char* end = p + text.size();
            for (const ply::Property& property : vertex.properties) {
                const double value = ParseValue(p, end, property, index);
                if (property.field != ply::kUnused) values[property.field] = value;
            }
            while (p < end && (*p == ' ' || *p == '\t')) ++p;
            if (p != end)
                FailAtLine("vertex " + std::to_string(index) + " has more values than the header's " +
                           std::to_string(vertex.properties.size()) + " properties");
            if (!Finite3(values)) {
                if (!options.skipInvalid) FailAtLine("vertex " + std::to_string(index) + " has a NaN or infinite coordinate");
                ++skipped;
                continue;
            }
            Store(values, kept, xyz, rgb, intensity, normals);
            ++kept;
        }
        consumed += n;
        return kept;
    }

    void Store(const double* values, std::size_t at, double* xyz, std::uint8_t* rgb, std::uint8_t* intensity,
               float* normals) const {
        const auto& properties = Vertex().properties;
        const auto byte = [&](Field f, bool fractions) {
            std::uint8_t b = 0;
            WithType(properties[static_cast<std::size_t>(header.propertyOf[f])].type, [&](auto tag) {
                using T = decltype(tag);
                // An integral value was checked to fit T when it was parsed.
                b = std::is_floating_point<T>::value ? ToByte(values[f], fractions) : ToByte(T(values[f]), fractions);
            });
            return b;
        };
        for (int a = 0; a < 3 && xyz; ++a) xyz[at * 3 + a] = values[ply::kX + a];
        for (int c = 0; c < 3 && rgb && header.present[ply::kRed]; ++c)
            rgb[at * 3 + c] = byte(static_cast<Field>(ply::kRed + c), true);
        if (intensity && header.present[ply::kIntensity]) intensity[at] = byte(ply::kIntensity, false);
        for (int a = 0; a < 3 && normals && header.present[ply::kNx]; ++a)
            normals[at * 3 + a] = NarrowToFloat(values[ply::kNx + a]);
    }

    // Drops the binary vertices of a block that have a NaN or infinite
    // coordinate (or refuses them); returns how many stay.
    std::size_t Validate(std::size_t n, double* xyz, std::uint8_t* rgb, std::uint8_t* intensity, float* normals,
                         std::uint64_t firstByte, std::size_t stride) {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < n; ++i) {
            if (!Finite3(xyz + 3 * i)) {
                if (!options.skipInvalid)
                    FailAtByte(firstByte + i * stride, "vertex " + std::to_string(consumed + i) +
                                                           " has a NaN or infinite coordinate");
                ++skipped;
                continue;
            }
            if (kept != i) {
                std::memmove(xyz + 3 * kept, xyz + 3 * i, 3 * sizeof(double));
                if (rgb) std::memmove(rgb + 3 * kept, rgb + 3 * i, 3);
                if (intensity) intensity[kept] = intensity[i];
                if (normals) std::memmove(normals + 3 * kept, normals + 3 * i, 3 * sizeof(float));
            }
            ++kept;
        }
        return kept;
    }

    std::size_t Read(std::size_t maxCount, double* xyz, std::uint8_t* rgb, std::uint8_t* intensity, float* normals) {
        if (!positioned) SkipTo();
        if (!header.present[ply::kRed]) rgb = nullptr;
        if (!header.present[ply::kIntensity]) intensity = nullptr;
        if (!header.present[ply::kNx]) normals = nullptr;
        for (;;) {
            const std::uint64_t left = Vertex().count - consumed;
            const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(maxCount, left));
            if (n == 0) return 0;
            std::size_t kept;
            if (Binary()) {
                const std::uint64_t firstByte = input.Position();
                const std::size_t got = ReadBinary(n, xyz, rgb, intensity, normals);
                kept = xyz ? Validate(got, xyz, rgb, intensity, normals, firstByte, Vertex().RecordSize()) : got;
                consumed += got;
            } else {
                kept = ReadAscii(n, xyz, rgb, intensity, normals);
            }
            if (kept > 0) return kept;
        }
    }
};

PlyReader::PlyReader(const std::string& path, PlyReadOptions options)
    : impl_(std::make_unique<Impl>(path, options)) {}
PlyReader::PlyReader(PlyReader&&) noexcept = default;
PlyReader& PlyReader::operator=(PlyReader&&) noexcept = default;
PlyReader::~PlyReader() = default;

const std::string& PlyReader::Path() const { return impl_->path; }
PlyFormat PlyReader::Format() const { return impl_->header.format; }
std::uint64_t PlyReader::Count() const { return impl_->Vertex().count; }
std::uint64_t PlyReader::CountBound() const {
    const Impl& impl = *impl_;
    const std::uint64_t count = impl.Vertex().count;
    if (!impl.input.Regular()) return count;
    // A binary vertex takes its record, an ascii one a digit and a separator
    // for each property.
    const std::uint64_t bytes = impl.input.FileSize() > impl.header.dataStart ? impl.input.FileSize() - impl.header.dataStart : 0;
    const std::uint64_t perVertex =
        impl.Binary() ? impl.Vertex().RecordSize() : 2 * std::max<std::size_t>(1, impl.Vertex().properties.size());
    return std::min(count, bytes / std::max<std::uint64_t>(1, perVertex));
}
bool PlyReader::HasColour() const { return impl_->header.present[ply::kRed]; }
bool PlyReader::HasIntensity() const { return impl_->header.present[ply::kIntensity]; }
bool PlyReader::HasNormals() const { return impl_->header.present[ply::kNx]; }
bool PlyReader::FloatCoordinates() const {
    for (Field axis : {ply::kX, ply::kY, ply::kZ}) {
        const auto& property = impl_->Vertex().properties[static_cast<std::size_t>(impl_->header.propertyOf[axis])];
        if (property.type != Type::Float32) return false;
    }
    return true;
}
std::size_t PlyReader::Read(std::size_t maxCount, double* xyz, std::uint8_t* rgb, std::uint8_t* intensity,
                            float* normals) {
    return impl_->Read(maxCount, xyz, rgb, intensity, normals);
}
std::uint64_t PlyReader::Consumed() const { return impl_->consumed; }
std::uint64_t PlyReader::Skipped() const { return impl_->skipped; }
double PlyReader::Fraction() const {
    const std::uint64_t count = Count();
    return count == 0 ? 1.0 : static_cast<double>(impl_->consumed) / static_cast<double>(count);
}

}  // namespace lxscan
