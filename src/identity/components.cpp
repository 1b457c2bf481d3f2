#include "lxbase/components.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace lxbase {

namespace {

struct ComponentName {
    ComponentType component;
    std::string_view name;
};

// The component name table, ascending by value. It is a constant array, so it
// is complete before any code of the library runs and is never destroyed: a
// call made during static destruction still finds it.
constexpr ComponentName kComponentNames[] = {
    {UnkownComponent, "UnkownComponent"},
    {Distance, "Distance"},
    {VerticalAngle, "VerticalAngle"},
    {HorizontalAngle, "HorizontalAngle"},
    {Luminance8, "Luminance8"},
    {Luminance16, "Luminance16"},
    {RGB, "RGB"},
    {TiltComponent, "TiltComponent"},
    {TimestampComponent, "TimestampComponent"},
    {XYZComponent, "XYZComponent"},
    {SphericalComponent, "SphericalComponent"},
    {LuminanceFloatComponent, "LuminanceFloatComponent"},
    {RGBFloatComponent, "RGBFloatComponent"},
    {HPointComponent, "HPointComponent"},
    {XYZCoord, "XYZCoord"},
    {XYZRGB, "XYZRGB"},
    {XYZLum, "XYZLum"},
    {XYZNormal, "XYZNormal"},
    {Classification, "Classification"},
    {Segmentation, "Segmentation"},
    {LastComponent, "LastComponent"},
};
static_assert(sizeof kComponentNames / sizeof kComponentNames[0] == 21, "21 named components");

// A line ends at '\n' or '\r', the characters that "." refuses in the
// ECMAScript grammar for narrow text.
bool IsLineBreak(char c) { return c == '\n' || c == '\r'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

struct DigitRun {
    std::size_t begin;
    std::size_t end;
};

// Where the digits of the last "[digits]" on the first line that holds one
// stand. This is what searching ".*\[([0-9]+)\].*" finds: a match cannot cross
// a line break, the leftmost start on the first such line wins, and the greedy
// ".*" moves the bracket as far right on that line as it can go. A linear scan
// gives the same answer without the regex engine's recursion, which grows with
// the length of the text.
bool FindBracketedDigits(const std::string& text, DigitRun& run) {
    bool found = false;
    std::size_t i = 0;
    while (i < text.size()) {
        if (IsLineBreak(text[i])) {
            if (found) return true;
            ++i;
            continue;
        }
        if (text[i] != '[') {
            ++i;
            continue;
        }
        std::size_t j = i + 1;
        while (j < text.size() && IsDigit(text[j])) ++j;
        if (j > i + 1 && j < text.size() && text[j] == ']') {
            run = DigitRun{i + 1, j};
            found = true;
        }
        i = j;  // the digits hold no '[' and text[j] has yet to be looked at
    }
    return found;
}

// The decimal value of the digits, or false when it exceeds the signed 32-bit
// range (leading zeros do not count against it).
bool ReadInt32(const std::string& text, DigitRun run, std::int32_t& value) {
    std::size_t i = run.begin;
    while (i + 1 < run.end && text[i] == '0') ++i;
    if (run.end - i > 10) return false;
    std::int64_t number = 0;
    for (; i < run.end; ++i) number = number * 10 + (text[i] - '0');
    if (number > std::numeric_limits<std::int32_t>::max()) return false;
    value = static_cast<std::int32_t>(number);
    return true;
}

}  // namespace

std::string ComponentToString(ComponentType component) {
    for (const ComponentName& row : kComponentNames) {
        if (row.component == component) return std::string(row.name);
    }
    // std::to_string, unlike a stream, ignores any digit grouping of the
    // global locale, so the text always reads back.
    return "UnkownComponent[" + std::to_string(static_cast<std::int32_t>(component)) + "]";
}

ComponentType StringToComponent(const std::string& text) {
    for (const ComponentName& row : kComponentNames) {
        if (text == row.name) return row.component;
    }
    DigitRun run{};
    std::int32_t value = 0;
    if (!FindBracketedDigits(text, run) || !ReadInt32(text, run, value)) return UnkownComponent;
    return static_cast<ComponentType>(value);
}

}  // namespace lxbase
