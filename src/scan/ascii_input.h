// Parsing point text: one point a line, x y z optionally followed by
// r g b and/or nx ny nz, separated by blanks, tabs or commas.
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

// How far the squared length of a normal may be from 1: within 1%.
constexpr double kUnitTolerance = 0.02;

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

// Parses a data line of a known format into a record. A NaN or infinite
// value makes it return false with skipInvalid, else throw. Throws
// ScanError (no file or line in the message; the caller adds them).
bool ParseLine(std::string_view line, TextFormat format, LocalRecord& record, bool skipInvalid = false);

}  // namespace lxscan

#endif
