#ifndef LXBASE_COMPONENTS_H
#define LXBASE_COMPONENTS_H

#include <cstdint>
#include <string>

#include "lxbase/export.h"

namespace lxbase {

/// The components a scan point can carry. Every 32-bit value is a valid
/// ComponentType; 20 to 36 (and everything beyond the table) have no name.
enum ComponentType : std::int32_t {
    UnkownComponent = 0,  ///< No component; also the result for text without a component.
    Distance = 1,  ///< Measured range.
    VerticalAngle = 2,  ///< Vertical angle of the measurement.
    HorizontalAngle = 3,  ///< Horizontal angle of the measurement.
    Luminance8 = 4,  ///< 8-bit luminance.
    Luminance16 = 5,  ///< 16-bit luminance.
    RGB = 6,  ///< 8-bit RGB colour.
    TiltComponent = 7,  ///< Tilt of the scanner.
    TimestampComponent = 8,  ///< Time of the measurement.
    XYZComponent = 9,  ///< Cartesian coordinates.
    SphericalComponent = 10,  ///< Spherical (polar) coordinates.
    LuminanceFloatComponent = 11,  ///< Floating-point luminance.
    RGBFloatComponent = 12,  ///< Floating-point RGB colour.
    HPointComponent = 13,  ///< Packed colour, intensity and normal (HNormalRGB).
    XYZCoord = 14,  ///< Cartesian coordinates only.
    XYZRGB = 15,  ///< Cartesian coordinates with colour.
    XYZLum = 16,  ///< Cartesian coordinates with luminance.
    XYZNormal = 17,  ///< Cartesian coordinates with a surface normal.
    Classification = 18,  ///< Class label of the point.
    Segmentation = 19,  ///< Segment label of the point.
    LastComponent = 37  ///< Marks the end of the enumeration.
};

/// The correctly spelled name of UnkownComponent (0), which keeps its name in
/// the enumeration and in the name table.
inline constexpr ComponentType UnknownComponent = UnkownComponent;

/// The member's name ("Distance"), or "UnkownComponent[<signed decimal>]" for
/// a value without one ("UnkownComponent[25]", "UnkownComponent[-1]").
LXBASE_API std::string ComponentToString(ComponentType component);

/// The component whose name is exactly `text` (case-sensitive, whole string).
/// Otherwise the number in the last "[digits]" of the first line (lines end at
/// `\n` or `\r`) that holds one, named or not: "Foo[25]bar" and "A[1]B[25]"
/// give 25. UnkownComponent when there is no such number or it exceeds the
/// 32-bit range.
LXBASE_API ComponentType StringToComponent(const std::string& text);

}  // namespace lxbase

#endif
