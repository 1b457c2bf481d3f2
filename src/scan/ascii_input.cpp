#include "ascii_input.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ios>

namespace lxscan {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == ','; }

struct FormatInfo {
    TextFormat format;
    const char* name;
    const char* columns;
    int count;
};

constexpr FormatInfo kFormats[] = {
    {TextFormat::Auto, "auto", "x y z [r g b] [nx ny nz]", 0},
    {TextFormat::Xyz, "xyz", "x y z", 3},
    {TextFormat::XyzRgb, "xyzrgb", "x y z r g b", 6},
    {TextFormat::XyzNormal, "xyznormal", "x y z nx ny nz", 6},
    {TextFormat::XyzRgbNormal, "xyzrgbnormal", "x y z r g b nx ny nz", 9},
};

const FormatInfo& Info(TextFormat format) { return kFormats[static_cast<int>(format)]; }

const char* SkipBlanks(const char* p, const char* end) {
    while (p != end && IsBlank(*p)) ++p;
    return p;
}

const char* TokenEnd(const char* p, const char* end) {
    while (p != end && !IsBlank(*p)) ++p;
    return p;
}

std::string_view StripCarriageReturn(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

// "value 4 ('1,5')": which value of the line and what it holds, cut short
// when long.
std::string Quote(int index, const char* begin, const char* end) {
    std::string token(begin, static_cast<std::size_t>(end - begin > 40 ? 40 : end - begin));
    // A control byte (a zero byte of a binary file) is shown as '?'.
    for (char& c : token)
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t') c = '?';
    if (end - begin > 40) token += "...";
    return "value " + std::to_string(index + 1) + " ('" + token + "')";
}

// ParsePlainDecimal, inlined into the line parser.
[[gnu::always_inline]] inline const char* PlainDecimal(const char* p, const char* end, double& value) {
    // Exact powers of ten: every one up to 10^22 is a double.
    static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    // The sign is taken and applied without branches: signs vary at random
    // from number to number, where a branch would be mispredicted often.
    const bool negative = p != end && *p == '-';
    p += negative;
    std::uint64_t digits = 0;
    int count = 0, decimals = 0;
    for (; p != end && *p >= '0' && *p <= '9'; ++p, ++count) digits = digits * 10 + static_cast<unsigned>(*p - '0');
    if (p != end && *p == '.') {
        for (++p; p != end && *p >= '0' && *p <= '9'; ++p, ++count, ++decimals)
            digits = digits * 10 + static_cast<unsigned>(*p - '0');
    }
    // 19 digits cannot overflow 64 bits; the rest must be exact doubles.
    if (count == 0 || count > 19 || decimals > 22 || digits > (std::uint64_t{1} << 53)) return nullptr;
    if (p != end && !IsBlank(*p)) return nullptr;  // an exponent, or not a number
    const double magnitude = static_cast<double>(digits) / kPowers[decimals];
    std::uint64_t bits;  // magnitude is +0 or more: setting the sign bit negates it
    std::memcpy(&bits, &magnitude, sizeof bits);
    bits |= std::uint64_t{negative} << 63;
    std::memcpy(&value, &bits, sizeof value);
    return p;
}

// The first value of a line that is NaN or infinite (scanners write NaN
// for a missing return): the line is refused or skipped once it is read.
struct NonFinite {
    const char* begin = nullptr;
    int index = 0;
};

// The route of ParseReal for what is not a plain decimal: exponents, long
// numbers, NaN and infinities, faults. Out of line, so that the plain route
// stays small.
[[gnu::noinline]] const char* ParseOtherReal(const char* begin, const char* p, const char* end, int index,
                                             double& value, NonFinite& nonFinite) {
    const auto [stop, error] = std::from_chars(p, end, value);
    if (error == std::errc::result_out_of_range)
        throw ScanError(Quote(index, begin, TokenEnd(begin, end)) + " is out of range");
    if (error != std::errc() || (stop != end && !IsBlank(*stop)))
        throw ScanError(Quote(index, begin, TokenEnd(begin, end)) + " is not a number");
    if (!std::isfinite(value) && nonFinite.begin == nullptr) nonFinite = NonFinite{begin, index};
    return stop;
}

// One number starting at p (blanks skipped by the caller). std::from_chars
// takes no leading '+', so one is skipped here. Returns the end of the token.
const char* ParseReal(const char* p, const char* end, int index, double& value, NonFinite& nonFinite) {
    const char* begin = p;
    if (p != end && *p == '+' && p + 1 != end && p[1] != '-') ++p;
    if (const char* stop = PlainDecimal(p, end, value)) return stop;
    return ParseOtherReal(begin, p, end, index, value, nonFinite);
}

const char* ParseChannel(const char* p, const char* end, int index, unsigned char& channel) {
    unsigned value = 0;
    const auto [stop, error] = std::from_chars(p, end, value);
    if (error != std::errc() || (stop != end && !IsBlank(*stop)) || value > 255)
        throw ScanError(Quote(index, p, TokenEnd(p, end)) + " is not a colour value (an integer 0..255)");
    channel = static_cast<unsigned char>(value);
    return stop;
}

// Splits a line into at most `capacity` token ranges; returns how many
// tokens the line holds (possibly more than capacity).
int SplitTokens(std::string_view line, const char** begins, const char** ends, int capacity) {
    const char* p = line.data();
    const char* end = p + line.size();
    int count = 0;
    for (p = SkipBlanks(p, end); p != end; p = SkipBlanks(p, end)) {
        const char* stop = TokenEnd(p, end);
        if (count < capacity) {
            begins[count] = p;
            ends[count] = stop;
        }
        ++count;
        p = stop;
    }
    return count;
}

// Whether a whole token is a finite number (a leading '+' allowed).
bool IsReal(const char* begin, const char* end, double& value) {
    if (begin != end && *begin == '+') ++begin;
    const auto [stop, error] = std::from_chars(begin, end, value);
    return error == std::errc() && stop == end && std::isfinite(value);
}

bool IsByte(const char* begin, const char* end) {
    unsigned value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    return error == std::errc() && stop == end && value <= 255;
}

}  // namespace

const char* ParsePlainDecimal(const char* p, const char* end, double& value) {
    return PlainDecimal(p, end, value);
}

bool ParseFormatName(std::string_view name, TextFormat& format) {
    for (const FormatInfo& info : kFormats) {
        if (name == info.name) {
            format = info.format;
            return true;
        }
    }
    return false;
}

const char* FormatName(TextFormat format) { return Info(format).name; }
const char* FormatColumns(TextFormat format) { return Info(format).columns; }
int ValueCount(TextFormat format) { return Info(format).count; }
bool FormatHasColour(TextFormat format) {
    return format == TextFormat::XyzRgb || format == TextFormat::XyzRgbNormal;
}
bool FormatHasNormal(TextFormat format) {
    return format == TextFormat::XyzNormal || format == TextFormat::XyzRgbNormal;
}

bool IsSkippedLine(std::string_view line) {
    line = StripCarriageReturn(line);
    const char* p = SkipBlanks(line.data(), line.data() + line.size());
    return p == line.data() + line.size() || *p == '#';
}

TextFormat DetectFormat(std::string_view line) {
    line = StripCarriageReturn(line);
    const char* begins[9];
    const char* ends[9];
    const int count = SplitTokens(line, begins, ends, 9);
    if (count == 3) return TextFormat::Xyz;
    if (count == 9) return TextFormat::XyzRgbNormal;
    if (count != 6)
        throw ScanError(std::to_string(count) +
                        " values; a point line holds 3, 6 or 9 (x y z [r g b] [nx ny nz])");
    double v[3];
    const bool real = IsReal(begins[3], ends[3], v[0]) && IsReal(begins[4], ends[4], v[1]) &&
                      IsReal(begins[5], ends[5], v[2]);
    if (real && std::fabs((v[0] * v[0] + v[1] * v[1]) + v[2] * v[2] - 1.0) <= kUnitTolerance)
        return TextFormat::XyzNormal;
    if (IsByte(begins[3], ends[3]) && IsByte(begins[4], ends[4]) && IsByte(begins[5], ends[5]))
        return TextFormat::XyzRgb;
    throw ScanError("cannot tell whether the 6 values are x y z r g b or x y z nx ny nz; "
                    "use --format");
}

namespace {

[[noreturn, gnu::noinline]] void MissingValues(TextFormat format, int found) {
    throw ScanError("expected " + std::to_string(ValueCount(format)) + " values (" + FormatColumns(format) +
                    "), found " + std::to_string(found));
}

}  // namespace

bool ParseLine(std::string_view line, TextFormat format, LocalRecord& record, bool skipInvalid) {
    line = StripCarriageReturn(line);
    NonFinite nonFinite;
    const char* p = line.data();
    const char* end = p + line.size();
    const int count = ValueCount(format);
    int index = 0;
    auto next = [&]() {
        p = SkipBlanks(p, end);
        if (p == end) MissingValues(format, index);
    };
    double* position = record.position.ToArray();
    for (; index < 3; ++index) {
        next();
        p = ParseReal(p, end, index, position[index], nonFinite);
    }
    record.hasColour = FormatHasColour(format);
    if (record.hasColour) {
        next();
        p = ParseChannel(p, end, index++, record.red);
        next();
        p = ParseChannel(p, end, index++, record.green);
        next();
        p = ParseChannel(p, end, index++, record.blue);
    }
    record.hasNormal = false;
    if (FormatHasNormal(format)) {
        double* normal = record.normal.ToArray();
        for (int axis = 0; axis < 3; ++axis, ++index) {
            next();
            p = ParseReal(p, end, index, normal[axis], nonFinite);
        }
        // A zero vector stands for "no normal" in many exports.
        record.hasNormal = normal[0] != 0.0 || normal[1] != 0.0 || normal[2] != 0.0;
    }
    if (SkipBlanks(p, end) != end)
        throw ScanError("more than " + std::to_string(count) + " values (" + FormatColumns(format) + ")");
    if (nonFinite.begin == nullptr) return true;
    if (skipInvalid) return false;
    throw ScanError(Quote(nonFinite.index, nonFinite.begin, TokenEnd(nonFinite.begin, end)) +
                    " is not a finite number (--skip-invalid skips such points)");
}

}  // namespace lxscan
