#ifndef LXMATH_MATRIX_H
#define LXMATH_MATRIX_H

// Small fixed-size vector and matrix value types used by lxmath::Frame.
// They only hold and address their elements; all geometry (with its fixed
// summation order) lives in Frame. The library instantiates them for double.

#include <cstddef>

#include "lxbase/export.h"

namespace lxmath {

// Three components 0, 1, 2 (x, y, z); zero by default.
template <typename T>
class LXBASE_API Vec3 {
public:
    Vec3() : m_v{T(0), T(0), T(0)} {}
    Vec3(T x, T y, T z) : m_v{x, y, z} {}

    T& operator[](int i) { return m_v[i]; }
    const T& operator[](int i) const { return m_v[i]; }

    T* data() { return m_v; }
    const T* data() const { return m_v; }

private:
    T m_v[3];
};

// Square N x N matrix stored row-major: element (r, c) at index N*r + c;
// the identity by default.
template <typename T, int N>
class LXBASE_API SquareMatrix {
public:
    SquareMatrix() {
        for (int i = 0; i < N * N; ++i) m_v[i] = (i % (N + 1) == 0) ? T(1) : T(0);
    }

    T& operator()(int row, int col) { return m_v[N * row + col]; }
    const T& operator()(int row, int col) const { return m_v[N * row + col]; }
    T& operator[](int index) { return m_v[index]; }
    const T& operator[](int index) const { return m_v[index]; }

    T* data() { return m_v; }
    const T* data() const { return m_v; }

protected:
    T m_v[static_cast<std::size_t>(N * N)];
};

// 3 x 3 matrix, nine values row-major.
template <typename T>
class LXBASE_API Mat3 : public SquareMatrix<T, 3> {
public:
    Mat3() = default;
    Mat3(T m00, T m01, T m02,
         T m10, T m11, T m12,
         T m20, T m21, T m22) {
        T* v = this->m_v;
        v[0] = m00; v[1] = m01; v[2] = m02;
        v[3] = m10; v[4] = m11; v[5] = m12;
        v[6] = m20; v[7] = m21; v[8] = m22;
    }
};

// 4 x 4 matrix, sixteen values row-major. As a homogeneous transform the
// linear part is rows/columns 0..2, the translation column 3 (indices 3, 7,
// 11) and row 3 is (0, 0, 0, 1).
template <typename T>
class LXBASE_API Mat4 : public SquareMatrix<T, 4> {
public:
    Mat4() = default;
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

// Short names of the instantiated vector and matrix types.
using Vec3d = Vec3<double>;
using Mat3d = Mat3<double>;
using Mat4d = Mat4<double>;

}  // namespace lxmath

#endif
