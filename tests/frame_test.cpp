#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "bit_patterns.h"
#include "frame_kernels.h"

#include "lxbase/records.h"
#include "lxmath/frame.h"

using lxbase::Orientation;
using lxbase::RegistrationInformation;
using lxbase::XYZ;
using lxmath::Frame;
using lxmath::Mat3;
using lxmath::Mat4;
using lxmath::Vec3d;

namespace {

// Exposes the protected members.
struct OpenFrame : Frame {
    using Frame::Copy;
    using Frame::SetXAxis;
    using Frame::SetZAxis;
};

void ExpectVec(const Vec3d& v, double x, double y, double z, double tolerance = 0) {
    EXPECT_NEAR(v[0], x, tolerance);
    EXPECT_NEAR(v[1], y, tolerance);
    EXPECT_NEAR(v[2], z, tolerance);
}

void ExpectAxes(const Frame& f, const Vec3d& x, const Vec3d& y, const Vec3d& z, double tolerance = 0) {
    ExpectVec(f.GetXAxis(), x[0], x[1], x[2], tolerance);
    ExpectVec(f.GetYAxis(), y[0], y[1], y[2], tolerance);
    ExpectVec(f.GetZAxis(), z[0], z[1], z[2], tolerance);
}

bool SameBits(const Frame& a, const Frame& b) {
    for (int i = 0; i < 12; ++i) {
        if (std::memcmp(&a(i / 4, i % 4), &b(i / 4, i % 4), sizeof(double)) != 0) return false;
    }
    return true;
}

void ExpectFramesNear(const Frame& a, const Frame& b, double tolerance) {
    for (int i = 0; i < 12; ++i) EXPECT_NEAR(a(i / 4, i % 4), b(i / 4, i % 4), tolerance) << i;
}

}  // namespace

TEST(Frame, ElementLayoutAndMatrix) {
    const Mat4<double> identity = Frame().GetMatrix();
    for (int i = 0; i < 16; ++i) EXPECT_EQ(identity[i], i % 5 == 0 ? 1.0 : 0.0) << i;

    // Row 3 of the source matrix is ignored.
    const Frame g(Mat4<double>(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));
    const Mat4<double> m = g.GetMatrix();
    for (int i = 0; i < 12; ++i) EXPECT_EQ(m[i], i + 1.0);
    EXPECT_TRUE(m(3, 0) == 0 && m(3, 1) == 0 && m(3, 2) == 0 && m(3, 3) == 1);
    EXPECT_EQ(g(2, 0), 9.0);  // z component of the X axis
    EXPECT_EQ(g(1, 3), 8.0);  // y component of the origin
    ExpectAxes(g, Vec3d(1, 5, 9), Vec3d(2, 6, 10), Vec3d(3, 7, 11));
    ExpectVec(g.GetTranslation(), 4, 8, 12);
    const Frame h(Mat3<double>(1, 2, 3, 4, 5, 6, 7, 8, 9), Vec3d(-1, -2, -3));
    ExpectAxes(h, Vec3d(1, 4, 7), Vec3d(2, 5, 8), Vec3d(3, 6, 9));
    ExpectVec(h.GetOrigin(), -1, -2, -3);

    OpenFrame open;
    open.SetXAxis(Vec3d(3, 0, 0));  // not normalised
    ExpectVec(open.GetXAxis(), 3, 0, 0);
    OpenFrame copy;
    EXPECT_EQ(&copy.Copy(open), &copy);
    EXPECT_TRUE(SameBits(copy, open));
    Frame assigned;
    EXPECT_EQ(&(assigned = g), &assigned);
    EXPECT_TRUE(SameBits(assigned, g));
    assigned.ResetTransform();
    EXPECT_TRUE(SameBits(assigned, Frame()));
}

TEST(Frame, SetXYZAxesUsesOnlyXAndY) {
    Frame f;
    f.SetOrigin(Vec3d(7, 8, 9));
    f.SetXYZAxes(Vec3d(2, 0, 0), Vec3d(1, 1, 0), Vec3d(0, 0, -1));
    ExpectAxes(f, Vec3d(1, 0, 0), Vec3d(0, 1, 0), Vec3d(0, 0, 1));
    ExpectVec(f.GetOrigin(), 7, 8, 9);
    f.SetXYZAxes(Vec3d(0, 0, 0), Vec3d(0, 3, 0), Vec3d(0, 0, 1));
    ExpectAxes(f, Vec3d(0, 0, 0), Vec3d(0, 1, 0), Vec3d(0, 0, 0));
    f.SetXYZAxes(Vec3d(1, 0, 0), Vec3d(2, 0, 0), Vec3d(0, 0, 1));
    ExpectAxes(f, Vec3d(1, 0, 0), Vec3d(0, 0, 0), Vec3d(0, 0, 0));

    // X keeps x's direction; y only picks the half-plane of Y.
    const Frame g(Vec3d(1, 2, 3), Vec3d(0, 0, 4), Vec3d(1, 0, 1), Vec3d(5, 5, 5));
    ExpectVec(g.GetOrigin(), 1, 2, 3);
    ExpectAxes(g, Vec3d(0, 0, 1), Vec3d(1, 0, 0), Vec3d(0, 1, 0));
}

TEST(Frame, RotateAboutALine) {
    Frame f;
    f.SetOrigin(Vec3d(1, 0, 0));
    f.Rotate(Vec3d(0, 0, 0), Vec3d(0, 0, 1), M_PI / 2);
    ExpectAxes(f, Vec3d(0, 1, 0), Vec3d(-1, 0, 0), Vec3d(0, 0, 1), 1e-15);
    ExpectVec(f.GetOrigin(), 0, 1, 0, 1e-15);

    // Half a turn about the vertical line through (1, 1, 0).
    Frame g;
    g.Rotate(Vec3d(1, 1, 0), Vec3d(0, 0, 1), M_PI);
    ExpectVec(g.GetOrigin(), 2, 2, 0, 1e-15);
    // Up to 1e-7 nothing turns, but the axes are still re-orthonormalised
    // and Z is replaced by X x Y.
    OpenFrame h;
    h.SetOrigin(Vec3d(0.1, 0.2, 0.3));
    h.SetXAxis(Vec3d(2, 0, 0));
    h.SetZAxis(Vec3d(0, 0, -5));
    h.Rotate(Vec3d(4, 5, 6), Vec3d(0, 0, 1), 1e-7);
    ExpectVec(h.GetOrigin(), 0.1, 0.2, 0.3);
    ExpectAxes(h, Vec3d(1, 0, 0), Vec3d(0, 1, 0), Vec3d(0, 0, 1));
    h.Rotate(Vec3d(0, 0, 0), Vec3d(0, 0, 1), 2e-7);
    EXPECT_GT(h(1, 0), 1.9e-7);
}

TEST(Frame, MappingsSumLeftToRightWithTranslationLast) {
    // Row 0 = (1, 1e16, -1e16 | 0.5): (1 + 1e16) - 1e16 = 0 in this order,
    // 1 in any other grouping; the translation comes after.
    const Frame f(Mat3<double>(1, 1e16, -1e16, 0, 1, 0, 0, 0, 1), Vec3d(0.5, 0, 0));
    EXPECT_EQ(f.PropagatePoint(Vec3d(1, 1, 1))[0], 0.5);
    EXPECT_EQ(f.PropagateVector(Vec3d(1, 1, 1))[0], 0.0);
    const Frame composed = f.PropagateFrame(Frame(Mat3<double>(), Vec3d(1, 1, 1)));
    EXPECT_EQ(composed(0, 3), 0.5);
    EXPECT_EQ(composed(0, 1), 1e16);
    // The same column, for the transposed sums.
    const Frame t(Mat3<double>(1, 0, 0, 1e16, 1, 0, -1e16, 0, 1), Vec3d(0, 0, 0));
    EXPECT_EQ(t.BackPropagateVector(Vec3d(1, 1, 1))[0], 0.0);
    EXPECT_EQ(t.BackPropagatePoint(Vec3d(1, 1, 1))[0], 0.0);
    EXPECT_EQ(t.BackPropagateFrame(Frame(Mat3<double>(), Vec3d(1, 1, 1)))(0, 3), 0.0);
    // Transform (t M, its translation last) and Rotate(q) (q M) sum the same way.
    Frame moved(Mat3<double>(), Vec3d(1, 1, 1));
    moved.Transform(Mat4<double>(1, 1e16, -1e16, 0.5, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
    EXPECT_EQ(moved(0, 3), 0.5);
    Frame turned(Mat3<double>(), Vec3d(1, 1, 1));
    turned.Rotate(Mat3<double>(1, 1e16, -1e16, 0, 1, 0, 0, 0, 1));
    EXPECT_EQ(turned(0, 3), 0.0);

    // An orthonormal frame maps back and forth; a sheared one does not.
    Frame pose;
    pose.SetOrigin(Vec3d(3, -2, 1));
    pose.Rotate(Vec3d(1, 2, 3), Vec3d(0.6, 0, 0.8), 0.7);
    const Vec3d p(0.25, -4, 9);
    ExpectVec(pose.BackPropagatePoint(pose.PropagatePoint(p)), p[0], p[1], p[2], 1e-14);
    ExpectVec(pose.BackPropagateVector(pose.PropagateVector(p)), p[0], p[1], p[2], 1e-14);
    const Frame sheared(Mat3<double>(1, 1, 0, 0, 1, 0, 0, 0, 1), Vec3d(0, 0, 0));
    EXPECT_NE(sheared.BackPropagatePoint(sheared.PropagatePoint(p))[0], p[0]);

    ExpectFramesNear(pose.BackPropagateFrame(pose), Frame(), 1e-15);
    ExpectFramesNear(pose.PropagateFrame(Frame()), pose, 0);
    const Frame child(Vec3d(1, 1, 1), Vec3d(1, 1, 0), Vec3d(0, 0, 1), Vec3d(0, 0, 0));
    ExpectFramesNear(pose.BackPropagateFrame(pose.PropagateFrame(child)), child, 1e-14);
}

TEST(Frame, TransformRotateTranslate) {
    const Frame f(Mat3<double>(0, -1, 0, 1, 0, 0, 0, 0, 1), Vec3d(1, 0, 0));
    Frame moved(f);
    moved.Transform(Mat4<double>(1, 0, 0, 10, 0, 1, 0, 20, 0, 0, 1, 30, 9, 9, 9, 9));
    ExpectVec(moved.GetOrigin(), 11, 20, 30);
    ExpectAxes(moved, Vec3d(0, 1, 0), Vec3d(-1, 0, 0), Vec3d(0, 0, 1));
    // A general transform is t * M, its translation added last.
    Frame scaled(f);
    scaled.Transform(Mat4<double>(2, 0, 0, 1, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1));
    ExpectVec(scaled.GetOrigin(), 3, 0, 0);
    ExpectAxes(scaled, Vec3d(0, 3, 0), Vec3d(-2, 0, 0), Vec3d(0, 0, 4));

    Frame turned;
    turned.SetOrigin(Vec3d(1, 0, 0));
    turned.Rotate(Mat3<double>(0, -1, 0, 1, 0, 0, 0, 0, 1));
    ExpectVec(turned.GetOrigin(), 0, 1, 0);
    ExpectVec(turned.GetXAxis(), 0, 1, 0);

    turned.Translate(Vec3d(0.5, 0.25, -1));
    ExpectVec(turned.GetOrigin(), 0.5, 1.25, -1);
}

TEST(Records, ConvertToAndFromFrames) {
    EXPECT_TRUE(SameBits(Frame(Orientation()), Frame()));
    EXPECT_TRUE(SameBits(Frame(RegistrationInformation()), Frame()));

    const Orientation turned(XYZ{0, 1, 0}, XYZ{-1, 0, 0}, XYZ{0, 0, 1});
    ExpectVec(Frame(turned).PropagatePoint(Vec3d(1, 0, 0)), 0, 1, 0);
    const Frame f(RegistrationInformation(turned, XYZ{5, 6, 7}));
    EXPECT_EQ(f(0, 3), 5.0);
    EXPECT_EQ(f(1, 0), 1.0);
    EXPECT_EQ(f(0, 1), -1.0);
    ExpectVec(f.PropagatePoint(Vec3d(1, 0, 0)), 5, 7, 7);
    // Frame to Orientation drops the origin.
    ExpectVec(Frame(static_cast<Orientation>(f)).GetOrigin(), 0, 0, 0);

    // Round trips keep every bit, whatever the values (nothing normalised).
    std::mt19937_64 rng(3);
    for (int n = 0; n < 100; ++n) {
        double v[12];
        for (double& d : v) d = testbits::FromBits(rng());
        const RegistrationInformation info(
            Orientation(XYZ{v[0], v[1], v[2]}, XYZ{v[3], v[4], v[5]}, XYZ{v[6], v[7], v[8]}),
            XYZ{v[9], v[10], v[11]});
        const RegistrationInformation back = Frame(info);
        ASSERT_EQ(std::memcmp(&back, &info, sizeof info), 0);
        const Orientation axes = Frame(info.orientation);
        ASSERT_EQ(std::memcmp(&axes, &info.orientation, sizeof axes), 0);
        const Frame frame(info);
        ASSERT_TRUE(SameBits(Frame(static_cast<RegistrationInformation>(frame)), frame));
        EXPECT_EQ(std::memcmp(&frame(2, 1), &v[5], sizeof(double)), 0);  // yAxis.z
    }
}

namespace {

using testbits::Bits;
using testbits::FromBits;

// Values that decide bits at the edges of the arithmetic: signed zeros,
// infinities, NaNs of both signs with different payloads (a signalling one
// too), denormals, the largest and tiny magnitudes.
const double kEdgeValues[] = {0.0, -0.0, 1.0, -1.0, 0.5, 3.0,
                              INFINITY, -INFINITY, FromBits(0x7FF8000000000000), FromBits(0xFFF8000000000000),
                              FromBits(0x7FF800000000ABCD), FromBits(0xFFF0000000001234), FromBits(1),
                              -FromBits(0x000FFFFFFFFFFFFF), 1.7976931348623157e308, -1e300, 1e-300, 1e16};

// A value: an edge value, a random raw bit pattern or an ordinary number.
double Adversarial(std::mt19937_64& rng) {
    switch (rng() % 3) {
        case 0: return kEdgeValues[rng() % (sizeof kEdgeValues / sizeof kEdgeValues[0])];
        case 1: return FromBits(rng());
        default: return std::uniform_real_distribution<double>(-100, 100)(rng);
    }
}

Frame AdversarialFrame(std::mt19937_64& rng) {
    Frame f;
    for (int i = 0; i < 12; ++i) f(i / 4, i % 4) = Adversarial(rng);
    return f;
}

// The per-point mapping of n interleaved points, one at a time.
std::vector<double> EachPoint(const Frame& f, bool back, const double* xyz, std::size_t n) {
    std::vector<double> out(3 * n);
    for (std::size_t i = 0; i < n; ++i) {
        const Vec3d p(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]);
        const Vec3d q = back ? f.BackPropagatePoint(p) : f.PropagatePoint(p);
        for (int k = 0; k < 3; ++k) out[3 * i + k] = q[k];
    }
    return out;
}

// Index of the first double whose bits differ, or -1.
long FirstDifference(const double* a, const double* b, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (Bits(a[i]) != Bits(b[i])) return static_cast<long>(i);
    }
    return -1;
}

}  // namespace

TEST(FramePoints, ArrayFormsEqualThePerPointFormsBitForBit) {
    std::mt19937_64 rng(13);
    constexpr double kGuard = -12345.0;
    for (int round = 0; round < 300; ++round) {
        const Frame frame = round == 0 ? Frame() : AdversarialFrame(rng);
        // Every tail length past one, two and several blocks, at every 8-byte
        // offset of a 32-byte line, into a separate array and in place.
        for (std::size_t n = 0; n <= 13; ++n) {
            for (std::size_t offset = 0; offset < 4; ++offset) {
                std::vector<double> buffer(3 * n + 8, kGuard);
                double* xyz = buffer.data() + offset;
                for (std::size_t i = 0; i < 3 * n; ++i) xyz[i] = Adversarial(rng);
                for (bool back : {false, true}) {
                    const std::vector<double> expected = EachPoint(frame, back, xyz, n);
                    std::vector<double> out(3 * n + 8, kGuard);
                    double* target = out.data() + (offset + 1) % 4;
                    if (back) frame.BackPropagatePoints(xyz, target, n);
                    else frame.PropagatePoints(xyz, target, n);
                    ASSERT_EQ(FirstDifference(target, expected.data(), 3 * n), -1)
                        << "round " << round << " n " << n << " offset " << offset << " back " << back;
                    // Nothing outside the n points is written.
                    EXPECT_EQ(target[3 * n], kGuard);
                    EXPECT_TRUE(target == out.data() || target[-1] == kGuard);

                    std::vector<double> inPlace(buffer);
                    double* same = inPlace.data() + offset;
                    if (back) frame.BackPropagatePoints(same, same, n);
                    else frame.PropagatePoints(same, same, n);
                    ASSERT_EQ(FirstDifference(same, expected.data(), 3 * n), -1) << "in place, n " << n;
                }
            }
        }
    }
}

TEST(FramePoints, BaselineVectorLoopEqualsThePerPointForms) {
    // The library picks the AVX loop where it can; the two-point SSE2 loop,
    // which every other x86-64 runs, is checked here directly.
    std::mt19937_64 rng(17);
    for (int round = 0; round < 200; ++round) {
        const Frame frame = AdversarialFrame(rng);
        std::vector<double> xyz(3 * 9 + 1);
        for (double& v : xyz) v = Adversarial(rng);
        for (bool back : {false, true}) {
            std::vector<double> out(xyz.size(), 0.0);
            const std::size_t done = back ? lxmath::MapBlocks<lxmath::Sse2, true>(&frame(0, 0), xyz.data() + 1, out.data(), 9)
                                          : lxmath::MapBlocks<lxmath::Sse2, false>(&frame(0, 0), xyz.data() + 1, out.data(), 9);
            ASSERT_EQ(done, 8u);
            const std::vector<double> expected = EachPoint(frame, back, xyz.data() + 1, 8);
            ASSERT_EQ(FirstDifference(out.data(), expected.data(), 24), -1) << round;
            EXPECT_EQ(out[24], 0.0);
        }
    }
}

TEST(FramePoints, NaNOperandsKeepTheirOrder) {
    // Where both operands of a step are NaN, the first one's sign and payload
    // win; the steps take the frame value first and the coordinate second,
    // the running sum first and the next term or the translation second.
    const double frameNaN = FromBits(0x7FF8000000000111), pointNaN = FromBits(0xFFF8000000000222);
    const Frame f(Mat3<double>(frameNaN, 1, 1, 1, 1, 1, 1, 1, 1), Vec3d(0, 0, frameNaN));
    const double p[3] = {pointNaN, 1, pointNaN};
    double out[3];
    f.PropagatePoints(p, out, 1);
    EXPECT_EQ(Bits(out[0]), Bits(frameNaN));  // m00 * x
    EXPECT_EQ(Bits(out[2]), Bits(pointNaN));  // the sum holding z, before o_z
    EXPECT_EQ(Bits(f.PropagatePoint(Vec3d(p[0], p[1], p[2]))[2]), Bits(pointNaN));
    f.BackPropagatePoints(p, out, 1);
    EXPECT_EQ(Bits(out[0]), Bits(frameNaN));  // m00 * (x - 0)
}
