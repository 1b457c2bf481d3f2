#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "lxbase/colours.h"

namespace lxbase {

static_assert(sizeof(HSLType) == 6, "an HSL colour is three 16-bit fields");

namespace {

// Low 16 bits of x truncated toward zero to a 32-bit integer. A value that no
// 32-bit integer holds (beyond the range, infinite or NaN) gives 0, the low
// bits of the processor's "integer indefinite" result, as the grey level of
// an out-of-range float colour does.
std::uint16_t WrapTo16(double x) {
    if (x > -2147483649.0 && x < 2147483648.0) {
        return static_cast<std::uint16_t>(static_cast<std::int32_t>(x));
    }
    return 0;
}

// floor(x + 0.5), clamped to 0..bound (NaN gives 0), as an integer.
int RoundClamped(float x, int bound) {
    const float rounded = std::floor(x + 0.5f);
    if (!(rounded >= 0.0f)) return 0;
    if (rounded > static_cast<float>(bound)) return bound;
    return static_cast<int>(rounded);
}

// Hue in sixths of a turn (-1..6). When two channels share the maximum, the
// earlier one's formula applies (red, then green, then blue). For a red
// maximum the quotient lies in -1..1, so fmod leaves it unchanged and a blue
// above green gives a negative value.
float HuePrime(const t_RGBType<unsigned char>& c, int max, float delta) {
    if (delta == 0.0f) return 0.0f;
    if (max == c.r) {
        const float q = static_cast<float>(c.g - c.b) / delta;
        return static_cast<float>(std::fmod(static_cast<double>(q), 6.0));
    }
    if (max == c.g) return static_cast<float>(c.b - c.r) / delta + 2.0f;
    return static_cast<float>(c.r - c.g) / delta + 4.0f;
}

struct Rgb8 {
    int r;
    int g;
    int b;
};

// Chroma C8 and second-largest component X8 placed by the sector of the hue.
Rgb8 SectorChannels(float huePrime, int c8, int x8) {
    if (huePrime < 1.0f) return {c8, x8, 0};
    if (huePrime < 2.0f) return {x8, c8, 0};
    if (huePrime < 3.0f) return {0, c8, x8};
    if (huePrime < 4.0f) return {0, x8, c8};
    if (huePrime < 5.0f) return {x8, 0, c8};
    return {c8, 0, x8};  // includes 6 (360 degrees), where X8 is 0
}

Rgb8 HslToRgb8(const HSLType& hsl) {
    const float l = static_cast<float>(hsl.lightness) / 65535.0f;
    const float s = static_cast<float>(hsl.saturation) / 65535.0f;
    const float huePrime = hsl.Hue() / 60.0f;
    const float chroma = (1.0f - std::fabs(l + l - 1.0f)) * s;
    const float y = static_cast<float>(std::fabs(std::fmod(static_cast<double>(huePrime), 2.0) - 1.0));
    const int x8 = RoundClamped((1.0f - y) * (chroma * 255.0f), 255);
    const int c8 = RoundClamped(chroma * 255.0f, 255);
    const Rgb8 sector = SectorChannels(huePrime, c8, x8);
    const int m8 = RoundClamped((l - chroma * 0.5f) * 255.0f, 255);
    return {std::min(255, sector.r + m8), std::min(255, sector.g + m8), std::min(255, sector.b + m8)};
}

// An 8-bit channel (0..255) as a channel of type T: float in 0..1, char as the
// same bit pattern.
template <typename T>
T FromChannel8(int channel) {
    if constexpr (std::is_same_v<T, float>) {
        return static_cast<float>(channel) / 255.0f;
    } else {
        return static_cast<T>(static_cast<unsigned char>(channel));
    }
}

}  // namespace

HSLType::HSLType(float hue, float saturation, float lightness)
    : hue(WrapTo16(static_cast<double>(hue * 65535.0f) / 360.0)),
      saturation(WrapTo16(saturation * 65535.0f)),
      lightness(WrapTo16(lightness * 65535.0f)) {}

HSLType::HSLType(const t_RGBType<unsigned char>& rgb) : hue(0), saturation(0), lightness(0) {
    const int min = std::min({rgb.r, rgb.g, rgb.b});
    const int max = std::max({rgb.r, rgb.g, rgb.b});
    const float delta = static_cast<float>(max - min);

    lightness = static_cast<std::uint16_t>(RoundClamped(static_cast<float>(max + min) * 0.5f * 65535.0f / 255.0f, 65535));
    hue = WrapTo16(HuePrime(rgb, max, delta) * 60.0f * 65535.0f / 360.0f);

    // Saturation is taken from the stored (rounded) lightness. l = 1 needs
    // max = min = 255, so the divisor is never 0 when delta is not.
    const float l = static_cast<float>(lightness) / 65535.0f;
    if (l != 0.0f && delta != 0.0f) {
        const float divisor = 1.0f - std::fabs(l + l - 1.0f);
        saturation = static_cast<std::uint16_t>(RoundClamped(delta / 255.0f * 65535.0f / divisor, 65535));
    }
}

float HSLType::Hue() const {
    return static_cast<float>(hue) * 360.0f / 65535.0f;
}

float HSLType::Saturation() const {
    return static_cast<float>(saturation) / 65535.0f;
}

float HSLType::Lightness() const {
    return static_cast<float>(lightness) / 65535.0f;
}

bool HSLType::operator<(const HSLType& other) const {
    if (lightness != other.lightness) return lightness < other.lightness;
    if (saturation != other.saturation) return saturation < other.saturation;
    return hue < other.hue;
}

template <typename T>
t_RGBType<T>::t_RGBType(const HSLType& hsl) : r(), g(), b() {
    const Rgb8 c = HslToRgb8(hsl);
    r = FromChannel8<T>(c.r);
    g = FromChannel8<T>(c.g);
    b = FromChannel8<T>(c.b);
}

template t_RGBType<char>::t_RGBType(const HSLType&);
template t_RGBType<unsigned char>::t_RGBType(const HSLType&);
template t_RGBType<float>::t_RGBType(const HSLType&);

}  // namespace lxbase
