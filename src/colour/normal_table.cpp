// The normal code table: one unit vector per cube-map cell, the angle scale of
// the cell index, and the quotient thresholds of the fast encoder. Built once
// when the library is loaded, read-only afterwards.

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "normal_code.h"

namespace lxbase {
namespace detail {

// Plain static storage of a trivial type: constant (zero-) initialised before
// any code runs and never destroyed, so nothing has to be released at unload.
// A client that still decodes normals during static destruction (from its
// own global destructors or exit handlers, which may run after this library's
// finalisers) therefore reads a valid table rather than freed memory.
NormalCodeTable gNormalCodeTable;

namespace {

// Step-by-step cell index against a given angle scale. The product and the
// floor are taken in double from the single-precision atanf result; the floor
// lies in [−53, 52] for any non-NaN quotient (|atanf| ≤ π/2 in float), and the
// clamp is applied in double so only values in 0..N−1 reach the conversion.
int CellIndex(float quotient, float angleScale) {
    const double cell =
        std::floor(static_cast<double>(std::atan(quotient)) * static_cast<double>(angleScale));
    if (std::isnan(cell)) return 0;
    double index = cell + kHalfGrid;
    if (index < 0.0) index = 0.0;
    if (index > kLastCell) index = kLastCell;
    return static_cast<int>(index);
}

// Tangents of the cell-centre angles −45° + 45°/N ... 45° − 45°/N. Every step
// is rounded to single precision in this order; the table's last bits depend
// on each of these roundings.
std::array<float, kGridSize> CellCentreTangents() {
    std::array<float, kGridSize> tangent{};
    const float inverseN = 1.0f / static_cast<float>(kGridSize);
    for (std::uint32_t k = 0; k < kGridSize; ++k) {
        const float position = static_cast<float>(k + k + 1) * inverseN - 1.0f;
        tangent[k] = std::tan(position * kQuarterPi);
    }
    return tangent;
}

// The unit vector through the centre of cell (ti, tj) of a face: the face
// direction plus the two tangents, normalised with 1/√d taken in double.
void StoreCellNormal(float (&entry)[3], int face, float ti, float tj) {
    const float d = (ti * ti + 1.0f) + tj * tj;
    const float s = static_cast<float>(std::sqrt(1.0 / static_cast<double>(d)));
    entry[kFaceAxes[face][0]] = static_cast<float>(kFaceSign[face]) * s;
    entry[kFaceAxes[face][1]] = s * ti;
    entry[kFaceAxes[face][2]] = s * tj;
}

// Floats in an integer order: −0.0 directly below +0.0, −∞ lowest, +∞ highest.
std::int64_t OrderKey(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const std::int64_t magnitude = bits & 0x7FFFFFFFu;
    return (bits >> 31) != 0 ? -1 - magnitude : magnitude;
}

float FromOrderKey(std::int64_t key) {
    const std::uint32_t bits = key >= 0 ? static_cast<std::uint32_t>(key)
                                        : 0x80000000u | static_cast<std::uint32_t>(-1 - key);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// The smallest float q with CellIndex(q) ≥ k, by bisection over all floats
// from −∞ (index 0) to +∞ (index N−1), using the very same atanf and floor
// steps, so that counting thresholds reproduces the step-by-step index.
float LowestQuotientOfCell(int k, float angleScale) {
    std::int64_t below = OrderKey(-std::numeric_limits<float>::infinity());
    std::int64_t atOrAbove = OrderKey(std::numeric_limits<float>::infinity());
    while (atOrAbove - below > 1) {
        const std::int64_t middle = below + (atOrAbove - below) / 2;
        if (CellIndex(FromOrderKey(middle), angleScale) >= k)
            atOrAbove = middle;
        else
            below = middle;
    }
    return FromOrderKey(atOrAbove);
}

void BuildNormalCodeTable(NormalCodeTable& table) {
    table.gridSize = kGridSize;
    const std::array<float, kGridSize> tangent = CellCentreTangents();

    // Entry 0 is the null vector (zero already); cell (i, j) of face f is
    // entry 1 + f·N² + i·N + j.
    std::uint32_t code = 1;
    for (int face = 0; face < 6; ++face)
        for (std::uint32_t i = 0; i < kGridSize; ++i)
            for (std::uint32_t j = 0; j < kGridSize; ++j)
                StoreCellNormal(table.normals[code++], face, tangent[i], tangent[j]);

    table.angleScale = static_cast<float>(static_cast<double>(kGridSize) / kHalfPiSingle);

    table.cellThresholds[0] = std::numeric_limits<float>::quiet_NaN();
    for (int k = 1; k <= kLastCell; ++k)
        table.cellThresholds[k] = LowestQuotientOfCell(k, table.angleScale);
    for (int k = kLastCell + 1; k < kThresholdSlots; ++k)
        table.cellThresholds[k] = std::numeric_limits<float>::quiet_NaN();

    for (int b = 0; b <= kQuotientBuckets; ++b) {
        int below = 0;
        for (int k = 1; k <= kLastCell; ++k)
            below += QuotientBucket(table.cellThresholds[k]) < b ? 1 : 0;
        table.bucketBase[b] = static_cast<std::uint8_t>(below);
    }
}

// Runs when the library is loaded. The priority places it ahead of ordinary
// static initialisers even when the library is linked statically, so clients'
// own static initialisers may already encode and decode normals.
__attribute__((constructor(200))) void InitialiseNormalCodeTable() {
    BuildNormalCodeTable(gNormalCodeTable);
}

}  // namespace

const NormalCodeTable& GetNormalCodeTable() noexcept { return gNormalCodeTable; }

int CellIndexStepwise(float quotient) noexcept {
    return CellIndex(quotient, gNormalCodeTable.angleScale);
}

std::uint16_t EncodeNormalStepwise(const tBaseXYZPoint<float>& normal) noexcept {
    return EncodeNormal(normal, CellIndexStepwise);
}

}  // namespace detail
}  // namespace lxbase
