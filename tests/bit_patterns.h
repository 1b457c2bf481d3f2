#ifndef LXBASE_TESTS_BIT_PATTERNS_H
#define LXBASE_TESTS_BIT_PATTERNS_H

// The IEEE bit patterns of floats and doubles, and back, for tests that check
// results to the last bit or build adversarial values from raw patterns.
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace testbits {

template <typename T>
auto Bits(T value) {
    static_assert(std::is_floating_point<T>::value && (sizeof(T) == 4 || sizeof(T) == 8), "float or double");
    std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t> bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline double FromBits(std::uint64_t bits) {
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

inline float FloatFromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace testbits

#endif
