#ifndef LXBASE_HNORMAL_RGB_H
#define LXBASE_HNORMAL_RGB_H

#include <cstdint>

#include "lxbase/export.h"
#include "lxbase/points.h"

namespace lxbase {

/// Per-point attribute record of 8 bytes: an 8-bit RGB colour, an 8-bit
/// intensity and a surface normal quantised to a 14-bit cube-map code.
///
/// codeWord:   bits 0..13 normal code (0 = no normal, 1..16224 = a cube-map
///             cell), bits 14..16 reserved (kept, never interpreted),
///             bits 17..31 the empty-bit value, free for the caller.
/// colourWord: red in bits 24..31, green 16..23, blue 8..15, intensity 0..7;
///             the word is little-endian, so its bytes in address order are
///             intensity, blue, green, red, and the channel references point
///             at those bytes.
struct LXBASE_API HNormalRGB {
    std::uint32_t codeWord;    ///< Normal code, reserved bits and empty-bit value.
    std::uint32_t colourWord;  ///< Red, green, blue and intensity.

    static const std::uint32_t RMask = 0xFF000000u;  ///< Red in colourWord.
    static const std::uint32_t GMask = 0x00FF0000u;  ///< Green in colourWord.
    static const std::uint32_t BMask = 0x0000FF00u;  ///< Blue in colourWord.
    static const std::uint32_t IMask = 0x000000FFu;  ///< Intensity in colourWord.
    /// Position of the empty-bit value in codeWord.
    static const std::uint32_t sRemainingShift = 17;
    /// The bits of codeWord below the empty-bit value (code and reserved bits).
    static const std::uint32_t sRemainingComp = 0x0001FFFFu;
    /// The largest normal code in use: codes 1 to sLargestNormalCode are cells
    /// of the cube map, 0 and the codes above it decode to (0, 0, 0).
    static constexpr std::uint16_t sLargestNormalCode = 16224;

    /// Black, intensity 0, code 0, empty-bit value 0.
    HNormalRGB() : codeWord(0), colourWord(0) {}
    /// The colour; intensity 0; no normal (code 0).
    HNormalRGB(unsigned char red, unsigned char green, unsigned char blue)
        : codeWord(0), colourWord(PackColour(red, green, blue, 0)) {}
    /// The colour and intensity, then SetNormal of the zero vector: code 1.
    HNormalRGB(unsigned char red, unsigned char green, unsigned char blue,
               unsigned char intensity);
    /// The colour; intensity 0; then SetNormal(normal).
    HNormalRGB(unsigned char red, unsigned char green, unsigned char blue,
               const tBaseXYZPoint<float>& normal);

    /// The red byte of colourWord, writable.
    unsigned char& Red() { return ColourByte(kRedByte); }
    /// The green byte of colourWord, writable.
    unsigned char& Green() { return ColourByte(kGreenByte); }
    /// The blue byte of colourWord, writable.
    unsigned char& Blue() { return ColourByte(kBlueByte); }
    /// The intensity byte of colourWord, writable.
    unsigned char& Intensity() { return ColourByte(kIntensityByte); }
    /// The red channel.
    unsigned char Red() const { return ColourByte(kRedByte); }
    /// The green channel.
    unsigned char Green() const { return ColourByte(kGreenByte); }
    /// The blue channel.
    unsigned char Blue() const { return ColourByte(kBlueByte); }
    /// The intensity.
    unsigned char Intensity() const { return ColourByte(kIntensityByte); }

    /// Stores the three colour channels; intensity and code word unchanged.
    void SetRGB(unsigned char red, unsigned char green, unsigned char blue) {
        colourWord = PackColour(red, green, blue, 0) | (colourWord & IMask);
    }
    /// Stores the intensity; colour and code word unchanged.
    void SetIntensity(unsigned char intensity) { Intensity() = intensity; }

    /// The 15-bit value in bits 17..31 of codeWord.
    std::uint32_t GetEmptyBitValue() const { return codeWord >> sRemainingShift; }
    /// Keeps code and reserved bits; bits of value above its lowest 15 are lost.
    void SetEmptyBitValue(std::uint32_t value) {
        codeWord = (codeWord & sRemainingComp) | (value << sRemainingShift);
    }

    /// The 14-bit normal code (0: no normal).
    std::uint16_t GetNormalCode() const {
        return static_cast<std::uint16_t>(codeWord & kNormalCodeMask);
    }
    /// The whole argument is ORed in: its bits 14 and 15 land in the reserved
    /// bits, which a later SetNormalCode does not clear.
    void SetNormalCode(std::uint16_t code) {
        codeWord = (codeWord & ~kNormalCodeMask) | code;
    }

    /// Quantises the direction of normal (its length does not matter) and
    /// stores its code; reserved bits and empty-bit value are kept.
    void SetNormal(const tBaseXYZPoint<float>& normal);
    /// The unit vector through the centre of the coded cell; (0, 0, 0) for
    /// code 0 and for the unused codes 16225..16383.
    tBaseXYZPoint<float> GetNormal() const;

private:
    static constexpr std::uint32_t kNormalCodeMask = 0x3FFFu;
    /// Byte offsets of the channels inside colourWord on a little-endian host.
    static constexpr int kIntensityByte = 0;
    static constexpr int kBlueByte = 1;
    static constexpr int kGreenByte = 2;
    static constexpr int kRedByte = 3;

    static std::uint32_t PackColour(unsigned char red, unsigned char green,
                                    unsigned char blue, unsigned char intensity) {
        return (std::uint32_t{red} << 24) | (std::uint32_t{green} << 16) |
               (std::uint32_t{blue} << 8) | std::uint32_t{intensity};
    }
    /// Access through unsigned char may alias any object, so the references
    /// into the word are well defined.
    unsigned char& ColourByte(int index) {
        return reinterpret_cast<unsigned char*>(&colourWord)[index];
    }
    unsigned char ColourByte(int index) const {
        return reinterpret_cast<const unsigned char*>(&colourWord)[index];
    }
};

static_assert(sizeof(HNormalRGB) == 8, "HNormalRGB is an 8-byte record");
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the channel bytes of HNormalRGB::colourWord assume a little-endian host");

}  // namespace lxbase

#endif
