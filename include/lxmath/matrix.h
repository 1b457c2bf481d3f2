#ifndef LXMATH_MATRIX_H
#define LXMATH_MATRIX_H

// Small fixed-size vector and matrix value types used by lxmath::Frame.
// They only hold and address their elements; all geometry (with its fixed
// summation order) lives in Frame. The library instantiates them for double.

#include <cstddef>

#include "lxbase/export.h"

namespace lxmath {

/// Three components 0, 1, 2 (x, y, z); zero by default.
template <typename T>
class LXBASE_API Vec3 {
public:
    /// (0, 0, 0).
    Vec3() : m_v{T(0), T(0), T(0)} {}
    /// (x, y, z).
    Vec3(T x, T y, T z) : m_v{x, y, z} {}

    /// Component i; no range check: i must be 0, 1 or 2.
    T& operator[](int i) { return m_v[i]; }
    /// Component i, read only; no range check.
    const T& operator[](int i) const { return m_v[i]; }

    /// The three components as an array.
    T* data() { return m_v; }
    /// The three components as a read-only array.
    const T* data() const { return m_v; }

private:
    T m_v[3];
};

/// Square N x N matrix stored row-major: element (r, c) at index N*r + c;
/// the identity by default.
template <typename T, int N>
class LXBASE_API SquareMatrix {
public:
    /// The identity matrix.
    SquareMatrix() {
        for (int i = 0; i < N * N; ++i) m_v[i] = (i % (N + 1) == 0) ? T(1) : T(0);
    }

    /// Element (row, col); no range check.
    T& operator()(int row, int col) { return m_v[N * row + col]; }
    /// Element (row, col), read only; no range check.
    const T& operator()(int row, int col) const { return m_v[N * row + col]; }
    /// Element `index` of the row-major array (N*row + col); no range check.
    T& operator[](int index) { return m_v[index]; }
    /// Element `index` of the row-major array, read only; no range check.
    const T& operator[](int index) const { return m_v[index]; }

    /// The N*N values, row-major.
    T* data() { return m_v; }
    /// The N*N values, row-major, read only.
    const T* data() const { return m_v; }

protected:
    T m_v[static_cast<std::size_t>(N * N)];  ///< The values, row-major.
};

/// 3 x 3 matrix, nine values row-major.
template <typename T>
class LXBASE_API Mat3 : public SquareMatrix<T, 3> {
public:
    /// The identity matrix.
    Mat3() = default;
    /// The nine values in row-major order: mRC is row R, column C.
    Mat3(T m00, T m01, T m02,
         T m10, T m11, T m12,
         T m20, T m21, T m22) {
        T* v = this->m_v;
        v[0] = m00; v[1] = m01; v[2] = m02;
        v[3] = m10; v[4] = m11; v[5] = m12;
        v[6] = m20; v[7] = m21; v[8] = m22;
    }
};

/// 4 x 4 matrix, sixteen values row-major. As a homogeneous transform the
/// linear part is rows/columns 0..2, the translation column 3 (indices 3, 7,
/// 11) and row 3 is (0, 0, 0, 1).
template <typename T>
class LXBASE_API Mat4 : public SquareMatrix<T, 4> {
public:
    /// The identity matrix.
    Mat4() = default;
    /// The sixteen values in row-major order: mRC is row R, column C.
    Mat4(T m00, T m01, T m02, T m03,
         T m10, T m11, T m12, T m13,
         T m20, T m21, T m22, T m23,
         T m30, T m31, T m32, T m33) {
        T* v = this->m_v;
        v[0] = m00;  v[1] = m01;  v[2] = m02;  v[3] = m03;
        v[4] = m10;  v[5] = m11;  v[6] = m12;  v[7] = m13;
        v[8] = m20;  v[9] = m21;  v[10] = m22; v[11] = m23;
        v[12] = m30; v[13] = m31; v[14] = m32; v[15] = m33;
    }
};

extern template class Vec3<double>;
extern template class SquareMatrix<double, 3>;
extern template class SquareMatrix<double, 4>;
extern template class Mat3<double>;
extern template class Mat4<double>;

using Vec3d = Vec3<double>;  ///< The instantiated vector type.
using Mat3d = Mat3<double>;  ///< The instantiated 3 x 3 matrix type.
using Mat4d = Mat4<double>;  ///< The instantiated 4 x 4 matrix type.

}  // namespace lxmath

#endif
