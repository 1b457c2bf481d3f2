#include "lxbase/hnormal_rgb.h"

#include "normal_code.h"

namespace lxbase {

// Out-of-line definitions, so that clients may bind the masks to references
// or take their addresses.
const std::uint32_t HNormalRGB::RMask;
const std::uint32_t HNormalRGB::GMask;
const std::uint32_t HNormalRGB::BMask;
const std::uint32_t HNormalRGB::IMask;
const std::uint32_t HNormalRGB::sRemainingShift;
const std::uint32_t HNormalRGB::sRemainingComp;

static_assert(HNormalRGB::sRemainingComp == (std::uint32_t{1} << HNormalRGB::sRemainingShift) - 1,
              "the empty-bit value starts right above the bits it keeps");

HNormalRGB::HNormalRGB(unsigned char red, unsigned char green, unsigned char blue,
                       unsigned char intensity)
    : codeWord(0), colourWord(PackColour(red, green, blue, intensity)) {
    // The zero vector's quotients are 0/0, which gives face 0, cell (0, 0):
    // code 1, not the "no normal" code 0.
    SetNormal(tBaseXYZPoint<float>());
}

HNormalRGB::HNormalRGB(unsigned char red, unsigned char green, unsigned char blue,
                       const tBaseXYZPoint<float>& normal)
    : codeWord(0), colourWord(PackColour(red, green, blue, 0)) {
    SetNormal(normal);
}

void HNormalRGB::SetNormal(const tBaseXYZPoint<float>& normal) {
    static_assert(kNormalCodeMask == detail::kNormalCodeMask, "one code mask");
    const std::uint16_t code = detail::EncodeNormal(normal, [](float quotient) {
        return detail::CellIndexFast(detail::gNormalCodeTable, quotient);
    });
    SetNormalCode(code);
}

tBaseXYZPoint<float> HNormalRGB::GetNormal() const {
    // The table covers the whole 14-bit code space, so no code reads past it.
    const float(&entry)[3] = detail::gNormalCodeTable.normals[codeWord & kNormalCodeMask];
    return tBaseXYZPoint<float>(entry[0], entry[1], entry[2]);
}

}  // namespace lxbase
