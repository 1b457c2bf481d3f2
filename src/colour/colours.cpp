#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "lxbase/colours.h"

namespace lxbase {

static_assert(sizeof(t_RGBType<unsigned char>) == 3 && sizeof(t_RGBType<char>) == 3 &&
                  sizeof(t_RGBType<float>) == 12,
              "a colour is its three channels and nothing else");

namespace {

// A ramp channel (0..255, finite) into a channel of type T: floats keep the
// value, 8-bit channels take the low 8 bits of its integer part.
template <typename T>
T RampChannel(float value) {
    if constexpr (std::is_same_v<T, float>) {
        return value;
    } else {
        return static_cast<T>(static_cast<unsigned char>(static_cast<int>(value)));
    }
}

// 8-bit channels wrap modulo 256: the sum is formed on the unsigned patterns,
// so a signed char channel never overflows.
template <typename T>
T AddChannel(T channel, T d) {
    if constexpr (std::is_same_v<T, float>) {
        return channel + d;
    } else {
        const unsigned sum = static_cast<unsigned char>(channel) + static_cast<unsigned>(static_cast<unsigned char>(d));
        return static_cast<T>(static_cast<unsigned char>(sum));
    }
}

template <typename T>
T SubtractChannel(T channel, T d) {
    if constexpr (std::is_same_v<T, float>) {
        return channel - d;
    } else {
        const unsigned difference = static_cast<unsigned char>(channel) - static_cast<unsigned>(static_cast<unsigned char>(d));
        return static_cast<T>(static_cast<unsigned char>(difference));
    }
}

// Position (1 = bit 0 ... 8 = bit 7) of the highest bit in which two channel
// values differ; 0 when they are equal, below every differing channel.
int DifferenceRank(unsigned char a, unsigned char b) {
    const unsigned x = static_cast<unsigned>(a ^ b);
    return x == 0 ? 0 : 32 - __builtin_clz(x);
}

}  // namespace

template <typename T>
t_RGBType<T>::t_RGBType(float v) : t_RGBType(GetColor(v)) {}

template <typename T>
t_RGBType<T>& t_RGBType<T>::operator=(float v) {
    return *this = GetColor(v);
}

template <typename T>
t_RGBType<T> t_RGBType<T>::GetColor(float v) {
    // Ramp rows (red, green, blue) in 0..1: blue, green, yellow, red.
    static const float color[4][3] = {{0.0f, 0.0f, 1.0f}, {0.0f, 1.0f, 0.0f}, {1.0f, 1.0f, 0.0f}, {1.0f, 0.0f, 0.0f}};

    int lower = 0;
    int upper = 0;
    float t = 0.0f;
    if (std::isnan(v) || v <= 0.0f) {
        lower = upper = 0;
    } else if (v >= 1.0f) {
        lower = upper = 3;
    } else {
        // Three segments lie between the four rows. For v < 1, v * 3 rounds
        // below 3 in single precision, so the row index is 0, 1 or 2.
        const float s = v * 3.0f;
        const int i = std::min(static_cast<int>(std::floor(s)), 2);
        lower = i;
        upper = i + 1;
        t = s - static_cast<float>(i);
    }
    float channel[3];
    for (int c = 0; c < 3; ++c) {
        channel[c] = ((color[upper][c] - color[lower][c]) * t + color[lower][c]) * 255.0f;
    }
    return t_RGBType(RampChannel<T>(channel[0]), RampChannel<T>(channel[1]), RampChannel<T>(channel[2]));
}

template <typename T>
t_RGBType<T>& t_RGBType<T>::operator+=(const T& d) {
    r = AddChannel(r, d);
    g = AddChannel(g, d);
    b = AddChannel(b, d);
    return *this;
}

template <typename T>
t_RGBType<T>& t_RGBType<T>::operator-=(const T& d) {
    r = SubtractChannel(r, d);
    g = SubtractChannel(g, d);
    b = SubtractChannel(b, d);
    return *this;
}

template <typename T>
bool t_RGBType<T>::operator==(const t_RGBType& other) const {
    return r == other.r && g == other.g && b == other.b;
}

template <typename T>
bool t_RGBType<T>::operator!=(const t_RGBType& other) const {
    return !(*this == other);
}

template <typename T>
bool t_RGBType<T>::operator>(const t_RGBType& other) const {
    if (*this == other) return false;
    return !(*this < other);
}

template <typename T>
bool t_RGBType<T>::operator>=(const t_RGBType& other) const {
    return !(*this < other);
}

template <typename T>
bool t_RGBType<T>::operator<=(const t_RGBType& other) const {
    if (*this == other) return true;
    return *this < other;
}

// The channel whose values differ in the highest bit decides; at equal rank
// the earlier channel (red, green, blue) does. This is the order of the Morton
// code that interleaves the channel bits with red most significant.
template <>
bool operator< <unsigned char>(const t_RGBType<unsigned char>& a, const t_RGBType<unsigned char>& b) {
    const unsigned char left[3] = {a.r, a.g, a.b};
    const unsigned char right[3] = {b.r, b.g, b.b};
    int deciding = 0;
    int bestRank = DifferenceRank(left[0], right[0]);
    for (int k = 1; k < 3; ++k) {
        const int rank = DifferenceRank(left[k], right[k]);
        if (rank > bestRank) {
            bestRank = rank;
            deciding = k;
        }
    }
    return left[deciding] < right[deciding];
}

template struct t_RGBType<char>;
template struct t_RGBType<unsigned char>;
template struct t_RGBType<float>;

// ---------------------------------------------------------------- tRGBIType

template <typename C, typename I>
tRGBIType<C, I>::tRGBIType(C first, C second, C third, I value) : rgb(), intensity(value) {
    // The grey level sums green + red + blue; single-precision addition is
    // commutative, so the shared ((r + g) + b) / 3 gives the same bits.
    rgb.r = detail::GreyLevel(first.r, first.g, first.b);
    rgb.g = detail::GreyLevel(second.r, second.g, second.b);
    rgb.b = detail::GreyLevel(third.r, third.g, third.b);
}

template <typename C, typename I>
bool tRGBIType<C, I>::operator==(const tRGBIType& other) const {
    return rgb == other.rgb && intensity.value == other.intensity.value;
}

template <typename C, typename I>
bool tRGBIType<C, I>::operator!=(const tRGBIType& other) const {
    return !(*this == other);
}

template struct tRGBIType<t_RGBType<unsigned char>, t_IntensityType<unsigned char>>;

}  // namespace lxbase
