// Reading ASCII point files: one point a line, x y z optionally followed by
// r g b and/or nx ny nz, separated by blanks or tabs.
#ifndef LXSCAN_SRC_ASCII_INPUT_H
#define LXSCAN_SRC_ASCII_INPUT_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "scan_internal.h"

namespace lxscan {

int ValueCount(TextFormat format);
bool FormatHasColour(TextFormat format);
bool FormatHasNormal(TextFormat format);

// Whether the line holds no point: blank (spaces, tabs, a final carriage
// return) or a comment starting with '#'.
bool IsSkippedLine(std::string_view line);

// Tells the format from a data line: 3 values xyz, 9 xyzrgbnormal; of 6 the
// last three are a normal when they form a unit vector (length within 2%),
// a colour when they are integers 0..255. Throws ScanError with a message
// that the caller prefixes with the file and line.
TextFormat DetectFormat(std::string_view line);

// The number at p when it is a plain decimal, [-]digits[.digits], whose
// digits form an integer m below 2^53 with at most 22 decimals: then m and
// 10^decimals are exact doubles and their quotient is the correctly rounded
// value, bit for bit what std::from_chars gives. Returns the end of the
// number, or null (value untouched) for anything else, which the caller
// hands to std::from_chars. The number must end at a blank or at end.
const char* ParsePlainDecimal(const char* p, const char* end, double& value);

// Parses a data line of a known format into a record. Throws ScanError (no
// file or line in the message; the caller adds them).
void ParseLine(std::string_view line, TextFormat format, LocalRecord& record);

// Streams a text file through LargeIfstream in large blocks and splits
// them into lines in place: memory does not grow with the file, and a line
// costs no stream call. Lines of kMaxLine bytes or more are refused.
class AsciiSource : public PointSource {
public:
    static constexpr int kMaxLine = 4096;
    // The point count is estimated from the bytes these first points took.
    static constexpr std::uint64_t kEstimateAfter = 4096;

    AsciiSource(const std::string& path, TextFormat format);

    bool Next(LocalRecord& record) override;
    double Fraction() override;
    std::uint64_t EstimatedCount() const override { return estimate_; }
    bool HasColour() const override;
    std::string Where() const override { return path_ + ":" + std::to_string(lineNumber_); }

    // The format in use: the one asked for, or the detected one once the
    // first data line has been read.
    TextFormat Format() const { return format_; }
    bool Detected() const { return detected_; }
    std::uint64_t LineNumber() const { return lineNumber_; }

private:
    // The next line (without its line feed), in the block; false at the end
    // of the file.
    bool ReadLine(std::string_view& line);
    // Moves the unread rest of the block to its front and reads behind it;
    // false when nothing more arrived.
    bool FillBlock();
    [[noreturn]] void Fail(const std::string& message) const;

    static constexpr std::size_t kBlockSize = std::size_t{1} << 20;

    std::string path_;
    lxbase::LargeIfstream file_;
    std::unique_ptr<char[]> block_;  // kBlockSize bytes read from file_
    const char* next_ = nullptr;     // first unread byte of the block
    const char* end_ = nullptr;      // end of the bytes read into it
    std::uint64_t consumed_ = 0;     // bytes of the file split into lines
    bool atEnd_ = false;             // whether file_ has no more bytes
    std::uint64_t fileSize_;
    TextFormat format_;
    bool detected_ = false;
    std::uint64_t lineNumber_ = 0;
    std::uint64_t points_ = 0;
    std::uint64_t estimate_ = 0;
};

}  // namespace lxscan

#endif
