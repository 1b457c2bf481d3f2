// The built-in input: a terrestrial scan of a furnished room, measured on a
// regular grid of horizontal and vertical angles and ray-cast against an
// analytic scene, so every point has an exact surface normal.
#ifndef LXSCAN_SRC_SYNTHETIC_SCAN_H
#define LXSCAN_SRC_SYNTHETIC_SCAN_H

#include <cstdint>
#include <string>

#include <lxmath/lxmath.h>

#include "ascii_input.h"
#include "scan_internal.h"

namespace lxscan {

class SyntheticScan : public PointSource {
public:
    // The room is 8 x 6 x 3 units; its own coordinates run from 0 to those
    // sizes. In the parent (site) system its lowest corner lies here.
    static constexpr double kRoomSize[3] = {8.0, 6.0, 3.0};
    static constexpr double kRoomCorner[3] = {10.0, 20.0, 5.0};
    // Vertical angles covered, from the zenith: the tripod hides the rest.
    static constexpr double kFirstVertical = 0.02;
    static constexpr double kLastVertical = 2.6;

    // A scan of `count` points from the given standpoint (the scanner's pose
    // in the room). With `colours` the records carry the surfaces' colours.
    SyntheticScan(std::uint64_t count, const lxbase::RegistrationInformation& standpoint,
                  bool colours);

    // Scanner at (3, 2.2) in the room, 1.5 above the floor, turned by 25 degrees.
    static lxbase::RegistrationInformation DefaultStandpoint();
    // Whether a scanner can stand there (parent coordinates): inside the room,
    // outside the furniture.
    static bool IsClear(const lxbase::XYZ& position);

    bool Next(LocalRecord& record) override;
    double Fraction() override { return count_ == 0 ? 1.0 : static_cast<double>(next_) / count_; }
    std::uint64_t EstimatedCount() const override { return count_; }
    bool HasColour() const override { return colours_; }
    std::string Where() const override { return "synthetic point " + std::to_string(next_); }

    std::uint64_t Rows() const { return rows_; }
    std::uint64_t Columns() const { return columns_; }

private:
    std::uint64_t count_;
    lxmath::Frame frame_;
    lxmath::Vec3<double> origin_;  // in room coordinates
    bool colours_;
    std::uint64_t rows_;
    std::uint64_t columns_;
    double verticalStep_;
    double horizontalStep_;
    std::uint64_t next_ = 0;
};

// Writes what a source delivers as a text point file in the given format
// (x y z with six decimals, then r g b and/or nx ny nz), in the scanner's
// own system. Written under a temporary name and renamed when complete.
void WriteAsciiScan(const std::string& path, PointSource& source, TextFormat format,
                    const ProgressCallback& progress);

}  // namespace lxscan

#endif
