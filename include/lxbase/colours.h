#ifndef LXBASE_COLOURS_H
#define LXBASE_COLOURS_H

#include <cstdint>

#include "lxbase/export.h"

namespace lxbase {

struct HSLType;

namespace detail {

/// Grey level of a colour: ((r + g) + b) / 3 in single precision, truncated
/// toward zero to a 32-bit integer and kept to its low 8 bits. A mean that is
/// NaN or outside the 32-bit range has no integer part to keep and gives 0.
inline unsigned char GreyLevel(float red, float green, float blue) {
    const float mean = ((red + green) + blue) / 3.0f;
    if (!(mean >= -2147483648.0f && mean < 2147483648.0f)) return 0;
    return static_cast<unsigned char>(static_cast<std::int32_t>(mean));
}

}  // namespace detail

/// RGB colour with three channels of type T. Exported for char (8-bit patterns
/// read as signed), unsigned char (0..255) and float.
template <typename T>
struct LXBASE_API t_RGBType {
    T r;  ///< Red channel.
    T g;  ///< Green channel.
    T b;  ///< Blue channel.

    /// Black: every channel zero.
    t_RGBType() : r(), g(), b() {}
    /// The channels as given.
    t_RGBType(T red, T green, T blue) : r(red), g(green), b(blue) {}
    /// Copies the three channels.
    t_RGBType(const t_RGBType&) = default;
    /// Copies the three channels.
    t_RGBType& operator=(const t_RGBType&) = default;

    /// The colour ramp colour of v (see GetColor).
    t_RGBType(float v);
    /// Assigns the colour ramp colour of v (see GetColor).
    t_RGBType& operator=(float v);

    /// Conversion from HSL. The float colour has channels in 0..1; the char
    /// colour holds the bit patterns of the 8-bit conversion.
    t_RGBType(const HSLType& hsl);

    /// Blue (v <= 0 or NaN) - green (1/3) - yellow (2/3) - red (v >= 1), blended
    /// linearly; channels 0..255 (truncated for the 8-bit channel types).
    static t_RGBType GetColor(float v);

    /// Adds d to every channel; modulo 256 for 8-bit channels.
    t_RGBType& operator+=(const T& d);
    /// Subtracts d from every channel; modulo 256 for 8-bit channels.
    t_RGBType& operator-=(const T& d);

    /// True if all three channels are equal.
    bool operator==(const t_RGBType& other) const;
    /// True if any channel differs.
    bool operator!=(const t_RGBType& other) const;
    /// Built from == and the ordering operator<. For char and float, two colours
    /// that differ but share a grey level are each > and >= the other, and
    /// neither is <= the other.
    bool operator>(const t_RGBType& other) const;
    /// `!(*this < other)`.
    bool operator>=(const t_RGBType& other) const;
    /// `*this == other || *this < other`.
    bool operator<=(const t_RGBType& other) const;
};

/// Ordering of char and float colours: by grey level (0..255, unsigned).
template <typename T>
bool operator<(const t_RGBType<T>& a, const t_RGBType<T>& b) {
    const float ar = static_cast<float>(a.r), ag = static_cast<float>(a.g), ab = static_cast<float>(a.b);
    const float br = static_cast<float>(b.r), bg = static_cast<float>(b.g), bb = static_cast<float>(b.b);
    return detail::GreyLevel(ar, ag, ab) < detail::GreyLevel(br, bg, bb);
}

/// Ordering of 8-bit colours: the Z-order (Morton order) of the channel bits,
/// interleaved from bit 7 down with red most significant.
template <>
LXBASE_API bool operator< <unsigned char>(const t_RGBType<unsigned char>& a,
                                         const t_RGBType<unsigned char>& b);

extern template struct t_RGBType<char>;
extern template struct t_RGBType<unsigned char>;
extern template struct t_RGBType<float>;

using RGB8 = t_RGBType<unsigned char>;  ///< Colour with channels 0..255.
using RGBc = t_RGBType<char>;           ///< Colour holding 8-bit patterns read as signed.
using RGBf = t_RGBType<float>;          ///< Colour with float channels.

/// Hue, saturation and lightness as 16-bit fixed-point numbers: hue 0..65535
/// for 0..360 degrees, saturation and lightness 0..65535 for 0..1.
struct LXBASE_API HSLType {
    std::uint16_t hue;         ///< 0..65535 for 0..360 degrees.
    std::uint16_t saturation;  ///< 0..65535 for 0..1.
    std::uint16_t lightness;   ///< 0..65535 for 0..1.

    HSLType() : hue(0), saturation(0), lightness(0) {}
    /// Hue in degrees, saturation and lightness in 0..1; scaled, truncated and
    /// wrapped modulo 65536 without clamping (360 degrees gives 65535), also
    /// beyond the 32-bit range. NaN and infinities give 0.
    HSLType(float hue, float saturation, float lightness);
    /// The HSL form of an 8-bit colour.
    HSLType(const t_RGBType<unsigned char>& rgb);
    /// Copies the three fields.
    HSLType(const HSLType&) = default;
    /// Copies the three fields.
    HSLType(HSLType&&) = default;
    /// Copies the three fields.
    HSLType& operator=(const HSLType&) = default;
    /// Copies the three fields.
    HSLType& operator=(HSLType&&) = default;

    float Hue() const;         ///< degrees
    float Saturation() const;  ///< 0..1
    float Lightness() const;   ///< 0..1

    /// Lexicographic on (lightness, saturation, hue).
    bool operator<(const HSLType& other) const;
};

/// Intensity value of a point.
template <typename T>
struct LXBASE_API t_IntensityType {
    T value;  ///< The intensity.

    /// Intensity zero.
    t_IntensityType() : value() {}
    /// Intensity `v`.
    explicit t_IntensityType(T v) : value(v) {}
};

/// A colour joined with an intensity. Exported for 8-bit colour and intensity.
template <typename C, typename I>
struct LXBASE_API tRGBIType {
    C rgb;        ///< The colour.
    I intensity;  ///< The intensity.

    /// Black, intensity zero.
    tRGBIType() : rgb(), intensity() {}
    /// Copies colour and intensity.
    tRGBIType(const tRGBIType&) = default;
    /// Copies colour and intensity.
    tRGBIType& operator=(const tRGBIType&) = default;
    /// The colour and intensity as given.
    tRGBIType(const C& colour, const I& value) : rgb(colour), intensity(value) {}
    /// The colour with intensity zero.
    tRGBIType(const C& colour) : rgb(colour), intensity() {}
    /// Black with the intensity given.
    tRGBIType(const I& value) : rgb(), intensity(value) {}
    /// Red, green and blue are the grey levels of the first, second and third
    /// colour.
    tRGBIType(C first, C second, C third, I value);

    /// True if colour and intensity value are equal.
    bool operator==(const tRGBIType& other) const;
    /// True if the colour or the intensity value differs.
    bool operator!=(const tRGBIType& other) const;
};

extern template struct tRGBIType<t_RGBType<unsigned char>, t_IntensityType<unsigned char>>;

using Intensity8 = t_IntensityType<unsigned char>;  ///< 8-bit intensity.
using RGBI8 = tRGBIType<RGB8, Intensity8>;          ///< 8-bit colour with 8-bit intensity (4 bytes).

static_assert(sizeof(RGBI8) == 4,
              "an 8-bit colour with intensity is four bytes: red, green, blue, intensity");

}  // namespace lxbase

#endif
