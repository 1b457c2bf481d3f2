#ifndef LXBASE_COMPONENTS_H
#define LXBASE_COMPONENTS_H

#include <cstdint>
#include <string>

#include "lxbase/export.h"

namespace lxbase {

// The components a scan point can carry. Every 32-bit value is a valid
// ComponentType; 20 to 36 (and everything beyond the table) have no name.
enum ComponentType : std::int32_t {
    UnkownComponent = 0,
    Distance = 1,
    VerticalAngle = 2,
    HorizontalAngle = 3,
    Luminance8 = 4,
    Luminance16 = 5,
    RGB = 6,
    TiltComponent = 7,
    TimestampComponent = 8,
    XYZComponent = 9,
    SphericalComponent = 10,
    LuminanceFloatComponent = 11,
    RGBFloatComponent = 12,
    HPointComponent = 13,
    XYZCoord = 14,
    XYZRGB = 15,
    XYZLum = 16,
    XYZNormal = 17,
    Classification = 18,
    Segmentation = 19,
    LastComponent = 37
};

// The correctly spelled name of UnkownComponent (0), which keeps its name in
// the enumeration and in the name table.
inline constexpr ComponentType UnknownComponent = UnkownComponent;

// The member's name ("Distance"), or "UnkownComponent[<signed decimal>]" for
// a value without one ("UnkownComponent[25]", "UnkownComponent[-1]").
LXBASE_API std::string ComponentToString(ComponentType component);

// The component whose name is exactly `text` (case-sensitive, whole string).
// Otherwise the number in the last "[digits]" of the first line (lines end at
// '\n' or '\r') that holds one, named or not: "Foo[25]bar" and "A[1]B[25]"
// give 25. UnkownComponent when there is no such number or it exceeds the
// 32-bit range.
LXBASE_API ComponentType StringToComponent(const std::string& text);

}  // namespace lxbase

#endif
