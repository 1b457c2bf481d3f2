#ifndef LXMATH_FRAME_H
#define LXMATH_FRAME_H

#include <cstddef>

#include "lxbase/export.h"
#include "lxbase/records.h"
#include "lxmath/matrix.h"

namespace lxmath {
namespace detail {

// The frame's results are defined to the last bit by their order of
// operations, and the point mappings below are inline, so compiled with the
// caller's flags, which may allow fusing a product into a multiply-add
// (-ffp-contract) or regrouping a sum (-ffast-math). Each step is therefore
// one instruction the optimiser cannot see into. Its operands also keep their
// order: where both are NaN, x86 returns the first one, so a compiler free to
// swap them would make the sign and payload of a NaN result depend on register
// allocation. The array forms (src/geometry/frame_points.cpp) take the
// operands in the same order.
#if defined(__x86_64__) && defined(__AVX__)
#define LXMATH_DETAIL_STEP(name, op)                                      \
    inline double name(double a, double b) {                              \
        double r;                                                         \
        __asm__("v" op "sd %2, %1, %0" : "=x"(r) : "x"(a), "x"(b));       \
        return r;                                                         \
    }
#elif defined(__x86_64__)
#define LXMATH_DETAIL_STEP(name, op)                                      \
    inline double name(double a, double b) {                              \
        __asm__(op "sd %1, %0" : "+x"(a) : "x"(b));                       \
        return a;                                                         \
    }
#else
// Returns v unchanged, but opaque to the optimiser.
inline double Pinned(double v) {
#if defined(__aarch64__)
    __asm__("" : "+w"(v));
#else
    volatile double memory = v;
    v = memory;
#endif
    return v;
}
#define LXMATH_DETAIL_STEP(name, op) \
    inline double name(double a, double b) { return Pinned(Pinned(a) op Pinned(b)); }
#endif
#if defined(__x86_64__)
LXMATH_DETAIL_STEP(Mul, "mul")
LXMATH_DETAIL_STEP(Add, "add")
LXMATH_DETAIL_STEP(Sub, "sub")
#else
LXMATH_DETAIL_STEP(Mul, *)
LXMATH_DETAIL_STEP(Add, +)
LXMATH_DETAIL_STEP(Sub, -)
#endif
#undef LXMATH_DETAIL_STEP

// The one summation order of every product of the frame: the three terms in
// the order of the summation index, left to right.
inline double Sum3(double a0, double b0, double a1, double b1, double a2, double b2) {
    return Add(Add(Mul(a0, b0), Mul(a1, b1)), Mul(a2, b2));
}

}  // namespace detail

/// A local coordinate system inside a parent system, held as the upper three
/// rows M of a homogeneous 4 x 4 matrix (row-major, element (r, c) at 4r + c):
/// columns 0, 1, 2 are the local X, Y, Z axes in parent coordinates (R),
/// column 3 the local origin (o).
///
/// Every product sums its three terms left to right in the order of the
/// summation index, a translation term last, so results are reproducible to the
/// last bit. Nothing is checked: R is used as given, and the
/// back-propagations take its transpose as its inverse.
class LXBASE_API Frame {
public:
    /// The identity frame.
    Frame();
    /// Copies the 12 values.
    Frame(const Frame& other);
    /// Copies the 12 values.
    Frame& operator=(const Frame& other);
    /// M = rows 0..2 of m, unchanged; row 3 is not read.
    Frame(const Mat4<double>& m);
    /// R = r (row for row), origin = o.
    Frame(const Mat3<double>& r, const Vec3<double>& o);
    /// The origin, then SetXYZAxes(x, y, z): z has no effect.
    Frame(const Vec3<double>& origin, const Vec3<double>& x, const Vec3<double>& y,
          const Vec3<double>& z);
    /// The records' axes become columns 0..2; the origin is zero or the
    /// translation. Values are only rearranged.
    Frame(const lxbase::Orientation& o);
    /// The registration's axes become columns 0..2, its translation the origin.
    Frame(const lxbase::RegistrationInformation& r);

    /// Columns 0..2 as the record's axes; the origin is dropped.
    operator lxbase::Orientation() const;
    /// Columns 0..2 as the axes, column 3 as the translation.
    operator lxbase::RegistrationInformation() const;

    /// Column 3: the local origin in parent coordinates.
    Vec3<double> GetOrigin() const;
    /// The same as GetOrigin().
    Vec3<double> GetTranslation() const;
    /// Column 0: the local X axis in parent coordinates.
    Vec3<double> GetXAxis() const;
    /// Column 1: the local Y axis in parent coordinates.
    Vec3<double> GetYAxis() const;
    /// Column 2: the local Z axis in parent coordinates.
    Vec3<double> GetZAxis() const;
    /// The 12 values of M as rows 0..2, row 3 = (0, 0, 0, 1).
    Mat4<double> GetMatrix() const;

    /// Element (row, col) of M; no range check: row 0..2, col 0..3.
    double& operator()(int row, int col) { return m_m[4 * row + col]; }
    /// Element (row, col) of M, read only; no range check.
    const double& operator()(int row, int col) const { return m_m[4 * row + col]; }

    /// Column 3 = o.
    void SetOrigin(const Vec3<double>& o);
    /// All 12 values back to the identity frame.
    void ResetTransform();

    // The four point and vector mappings are inline: they run in the
    // caller's loops over millions of points.

    /// R p + o: local point to parent coordinates.
    Vec3<double> PropagatePoint(const Vec3<double>& p) const {
        return Vec3<double>(detail::Add(RowTimes(0, p), m_m[3]), detail::Add(RowTimes(1, p), m_m[7]),
                            detail::Add(RowTimes(2, p), m_m[11]));
    }
    /// R v.
    Vec3<double> PropagateVector(const Vec3<double>& v) const {
        return Vec3<double>(RowTimes(0, v), RowTimes(1, v), RowTimes(2, v));
    }
    /// R^T (p - o): parent point to local coordinates.
    Vec3<double> BackPropagatePoint(const Vec3<double>& p) const {
        return BackPropagateVector(Vec3<double>(detail::Sub(p[0], m_m[3]), detail::Sub(p[1], m_m[7]),
                                                detail::Sub(p[2], m_m[11])));
    }
    /// R^T v.
    Vec3<double> BackPropagateVector(const Vec3<double>& v) const {
        return Vec3<double>(ColumnTimes(0, v), ColumnTimes(1, v), ColumnTimes(2, v));
    }
    /// The array forms of PropagatePoint and BackPropagatePoint: n points as
    /// interleaved x y z at xyz (any 8-byte alignment), results to out, which
    /// may be xyz itself but must not overlap it otherwise. Every result equals
    /// the per-point mapping's bit for bit, NaN and infinities included.
    void PropagatePoints(const double* xyz, double* out, std::size_t n) const;
    /// See PropagatePoints.
    void BackPropagatePoints(const double* xyz, double* out, std::size_t n) const;
    /// f given in this frame's local system, expressed in the parent.
    Frame PropagateFrame(const Frame& f) const;
    /// f given in the parent, expressed in this frame's local system.
    Frame BackPropagateFrame(const Frame& f) const;

    /// Gram-Schmidt: X = x / |x|, Y = the part of y orthogonal to X,
    /// normalised, Z = X x Y normalised; a zero length skips its division.
    /// The origin is kept; z is not read, so the result is right-handed.
    void SetXYZAxes(const Vec3<double>& x, const Vec3<double>& y, const Vec3<double>& z);
    /// M = t M, t taken as its upper three rows.
    void Transform(const Mat4<double>& t);
    /// R = q R and o = q o: the frame turns about the parent's origin.
    void Rotate(const Mat3<double>& q);
    /// Turns the frame by angle (radians, right-hand rule) about the line
    /// through p with the unit direction a, then re-orthonormalises X and Y
    /// and sets Z = X x Y. |angle| <= 1e-7 turns nothing.
    void Rotate(const Vec3<double>& p, const Vec3<double>& a, const double& angle);
    /// o = o + v.
    void Translate(const Vec3<double>& v);

protected:
    /// Copies the 12 values of `other` and returns this frame.
    Frame& Copy(const Frame& other);
    /// Column 0 = v, not normalised.
    void SetXAxis(const Vec3<double>& v);
    /// Column 1 = v, not normalised.
    void SetYAxis(const Vec3<double>& v);
    /// Column 2 = v, not normalised.
    void SetZAxis(const Vec3<double>& v);

private:
    /// Row i of R times v, and column i of R (row i of its transpose) times v.
    double RowTimes(int i, const Vec3<double>& v) const {
        return detail::Sum3(m_m[4 * i], v[0], m_m[4 * i + 1], v[1], m_m[4 * i + 2], v[2]);
    }
    double ColumnTimes(int i, const Vec3<double>& v) const {
        return detail::Sum3(m_m[i], v[0], m_m[4 + i], v[1], m_m[8 + i], v[2]);
    }
    Vec3<double> Column(int c) const;
    void SetColumn(int c, const Vec3<double>& v);

    double m_m[12];
};

}  // namespace lxmath

#endif
