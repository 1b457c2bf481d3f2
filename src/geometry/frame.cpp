#include "lxmath/frame.h"

#include <cmath>
#include <cstring>

namespace lxmath {
namespace {

using V3 = Vec3<double>;

constexpr double kIdentity[12] = {1, 0, 0, 0,
                                  0, 1, 0, 0,
                                  0, 0, 1, 0};

// Angles whose magnitude does not exceed this turn nothing.
constexpr double kSmallestRotation = 0.0000001;

using detail::Sum3;

// Row i of a row-major 3 x 3 matrix times v.
inline double RowTimes3(const Mat3<double>& q, int i, const V3& v) {
    return Sum3(q(i, 0), v[0], q(i, 1), v[1], q(i, 2), v[2]);
}

inline V3 Times(const Mat3<double>& q, const V3& v) {
    return V3(RowTimes3(q, 0, v), RowTimes3(q, 1, v), RowTimes3(q, 2, v));
}

// c = a * b for two row-major 3 x 4 matrices read as homogeneous 4 x 4
// matrices with row 3 = (0, 0, 0, 1). Without a's translation, column 3 of c
// is the bare sum (no +0.0 added, which would turn a -0.0 into +0.0).
void Compose(const double* a, const double* b, bool withTranslation, double* c) {
    double result[12];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 4; ++j) {
            result[4 * i + j] = Sum3(a[4 * i], b[j], a[4 * i + 1], b[4 + j], a[4 * i + 2], b[8 + j]);
        }
        if (withTranslation) result[4 * i + 3] += a[4 * i + 3];
    }
    std::memcpy(c, result, sizeof result);
}

double Length(const V3& v) {
    return std::sqrt(Sum3(v[0], v[0], v[1], v[1], v[2], v[2]));
}

// v / |v|; only an exactly zero length leaves v as it is.
V3 Normalised(const V3& v) {
    const double n = Length(v);
    if (n == 0.0) return v;
    return V3(v[0] / n, v[1] / n, v[2] / n);
}

V3 Cross(const V3& a, const V3& b) {
    return V3(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
}

// Rodrigues' rotation matrix about the direction a (taken as given, not
// normalised) by angle, right-hand rule.
Mat3<double> AxisAngleMatrix(const V3& a, double angle) {
    Mat3<double> q;
    if (!(std::fabs(angle) > kSmallestRotation)) return q;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double t = 1.0 - c;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j <= i; ++j) {
            const double base = (t * a[i]) * a[j];
            q(i, j) = base;
            q(j, i) = base;
        }
        q(i, i) += c;
    }
    q(0, 1) -= s * a[2];
    q(1, 0) += s * a[2];
    q(0, 2) += s * a[1];
    q(2, 0) -= s * a[1];
    q(1, 2) -= s * a[0];
    q(2, 1) += s * a[0];
    return q;
}

V3 ToVec(const lxbase::XYZ& v) { return V3(v.x, v.y, v.z); }

lxbase::XYZ ToXYZ(const V3& v) {
    lxbase::XYZ r;
    r.x = v[0];
    r.y = v[1];
    r.z = v[2];
    return r;
}

}  // namespace

template class Vec3<double>;
template class SquareMatrix<double, 3>;
template class SquareMatrix<double, 4>;
template class Mat3<double>;
template class Mat4<double>;

Frame::Frame() { ResetTransform(); }

Frame::Frame(const Frame& other) { Copy(other); }

Frame& Frame::operator=(const Frame& other) { return Copy(other); }

Frame& Frame::Copy(const Frame& other) {
    std::memmove(m_m, other.m_m, sizeof m_m);
    return *this;
}

Frame::Frame(const Mat4<double>& m) { std::memcpy(m_m, m.data(), sizeof m_m); }

Frame::Frame(const Mat3<double>& r, const Vec3<double>& o) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) m_m[4 * i + j] = r(i, j);
        m_m[4 * i + 3] = o[i];
    }
}

Frame::Frame(const Vec3<double>& origin, const Vec3<double>& x, const Vec3<double>& y,
             const Vec3<double>& z) {
    ResetTransform();
    SetOrigin(origin);
    SetXYZAxes(x, y, z);
}

Frame::Frame(const lxbase::Orientation& o) {
    ResetTransform();
    SetColumn(0, ToVec(o.xAxis));
    SetColumn(1, ToVec(o.yAxis));
    SetColumn(2, ToVec(o.zAxis));
}

Frame::Frame(const lxbase::RegistrationInformation& r) : Frame(r.orientation) {
    SetOrigin(ToVec(r.translation));
}

Frame::operator lxbase::Orientation() const {
    return lxbase::Orientation(ToXYZ(Column(0)), ToXYZ(Column(1)), ToXYZ(Column(2)));
}

Frame::operator lxbase::RegistrationInformation() const {
    return lxbase::RegistrationInformation(static_cast<lxbase::Orientation>(*this), ToXYZ(Column(3)));
}

Vec3<double> Frame::Column(int c) const { return V3(m_m[c], m_m[4 + c], m_m[8 + c]); }

void Frame::SetColumn(int c, const Vec3<double>& v) {
    m_m[c] = v[0];
    m_m[4 + c] = v[1];
    m_m[8 + c] = v[2];
}

Vec3<double> Frame::GetOrigin() const { return Column(3); }
Vec3<double> Frame::GetTranslation() const { return Column(3); }
Vec3<double> Frame::GetXAxis() const { return Column(0); }
Vec3<double> Frame::GetYAxis() const { return Column(1); }
Vec3<double> Frame::GetZAxis() const { return Column(2); }

Mat4<double> Frame::GetMatrix() const {
    Mat4<double> m;
    std::memcpy(m.data(), m_m, sizeof m_m);
    return m;
}

void Frame::SetOrigin(const Vec3<double>& o) { SetColumn(3, o); }
void Frame::SetXAxis(const Vec3<double>& v) { SetColumn(0, v); }
void Frame::SetYAxis(const Vec3<double>& v) { SetColumn(1, v); }
void Frame::SetZAxis(const Vec3<double>& v) { SetColumn(2, v); }

void Frame::ResetTransform() { std::memcpy(m_m, kIdentity, sizeof m_m); }

Frame Frame::PropagateFrame(const Frame& f) const {
    Frame result;
    Compose(m_m, f.m_m, true, result.m_m);
    return result;
}

Frame Frame::BackPropagateFrame(const Frame& f) const {
    // R^T as a 3 x 4 matrix without translation, applied to f with its
    // origin replaced by o_f - o.
    double transposed[12] = {};
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) transposed[4 * i + k] = m_m[4 * k + i];
    }
    Frame relative(f);
    for (int i = 0; i < 3; ++i) relative.m_m[4 * i + 3] = f.m_m[4 * i + 3] - m_m[4 * i + 3];
    Frame result;
    Compose(transposed, relative.m_m, false, result.m_m);
    return result;
}

void Frame::SetXYZAxes(const Vec3<double>& x, const Vec3<double>& y, const Vec3<double>&) {
    const V3 xAxis = Normalised(x);
    const double d = Sum3(y[0], xAxis[0], y[1], xAxis[1], y[2], xAxis[2]);
    const V3 yAxis = Normalised(V3(y[0] - xAxis[0] * d, y[1] - xAxis[1] * d, y[2] - xAxis[2] * d));
    const V3 zAxis = Normalised(Cross(xAxis, yAxis));
    SetColumn(0, xAxis);
    SetColumn(1, yAxis);
    SetColumn(2, zAxis);
}

void Frame::Transform(const Mat4<double>& t) {
    // Rows 0..2 of t are its first twelve values.
    Compose(t.data(), m_m, true, m_m);
}

void Frame::Rotate(const Mat3<double>& q) {
    double linear[12] = {};
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) linear[4 * i + k] = q(i, k);
    }
    Compose(linear, m_m, false, m_m);
}

void Frame::Rotate(const Vec3<double>& p, const Vec3<double>& a, const double& angle) {
    const Mat3<double> q = AxisAngleMatrix(a, angle);
    const V3 qp = Times(q, p);
    const V3 qo = Times(q, Column(3));
    SetColumn(3, V3((p[0] - qp[0]) + qo[0], (p[1] - qp[1]) + qo[1], (p[2] - qp[2]) + qo[2]));
    const V3 xAxis = Times(q, Column(0));
    const V3 yAxis = Times(q, Column(1));
    // The current Z axis plays no part: Z becomes X x Y.
    SetXYZAxes(xAxis, yAxis, xAxis);
}

void Frame::Translate(const Vec3<double>& v) {
    m_m[3] += v[0];
    m_m[7] += v[1];
    m_m[11] += v[2];
}

}  // namespace lxmath
