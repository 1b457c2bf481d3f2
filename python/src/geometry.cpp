// Geometry on numpy arrays: point conversions, the Z-order and Frame.
#include <cstring>
#include <string>

#include <lxbase/points.h>
#include <lxbase/records.h>
#include <lxbase/zorder.h>
#include <lxmath/frame.h>

#include "arrays.h"
#include "module.h"

namespace lxpy {
namespace {

using lxbase::tBasePolarPoint;
using lxbase::tBaseXYZPoint;

[[noreturn]] void ThrowNotFloat(const py::object& object, const py::array& a, const char* name) {
    if (!a) PyErr_Clear();
    throw py::type_error(std::string(name) + ": expected dtype float32 or float64, got " +
                         (a ? py::str(a.dtype()).cast<std::string>()
                            : py::str(py::type::of(object)).cast<std::string>()));
}

// Calls f(array_t<float>) or f(array_t<double>) for an (N, 3) array of
// either dtype.
template <typename F>
py::object ForFloatPoints(const py::object& object, const char* name, F f) {
    py::array a = py::array::ensure(object);
    if (a && a.dtype().equal(py::dtype::of<float>())) return f(CheckArray<float>(a, name, 3));
    if (a && a.dtype().equal(py::dtype::of<double>())) return f(CheckArray<double>(a, name, 3));
    ThrowNotFloat(object, a, name);
}

// out[i] = the library's conversion of in[i], three values each; the point
// types are three contiguous values, so they are copied in and out whole.
template <typename To, typename From, typename T>
py::object ConvertPoints(const py::array_t<T, py::array::c_style>& in, const py::object& given) {
    const std::size_t n = static_cast<std::size_t>(in.shape(0));
    py::array_t<T> out = ResultArray<T>(given, static_cast<py::ssize_t>(n), 3, in, true);
    const T* source = in.data();
    T* target = out.mutable_data();
    {
        py::gil_scoped_release release;
        ParallelFor(n, [&](std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i) {
                From from;
                To to;
                std::memcpy(static_cast<void*>(&from), source + 3 * i, sizeof from);
                to = from;
                std::memcpy(target + 3 * i, static_cast<const void*>(&to), sizeof to);
            }
        });
    }
    return std::move(out);
}

// The Z-order permutation of (N, 3) points, as int64 indices. Rows that lie
// a whole number of coordinates apart (such as the positions inside scan
// records) are used where they are, without a copy.
template <typename T>
py::array_t<std::int64_t> ZOrderIndices(const py::array& a) {
    static_assert(sizeof(std::size_t) == sizeof(std::int64_t), "indices are 64-bit");
    const auto size = static_cast<py::ssize_t>(sizeof(T));
    py::array points = a;
    if (!(a.ndim() == 2 && a.shape(1) == 3 && a.strides(1) == size && a.strides(0) >= 3 * size &&
          a.strides(0) % size == 0))
        points = CheckArray<T>(a, "xyz", 3);
    const auto* first = static_cast<const tBaseXYZPoint<T>*>(points.data());
    const std::size_t n = static_cast<std::size_t>(points.shape(0));
    const std::size_t stride = n ? static_cast<std::size_t>(points.strides(0)) : 3 * sizeof(T);
    auto* order = new std::vector<std::size_t>();
    py::capsule owner(order, [](void* p) { delete static_cast<std::vector<std::size_t>*>(p); });
    {
        py::gil_scoped_release release;
        *order = lxbase::ZOrderPermutation(first, n, stride);
    }
    return py::array_t<std::int64_t>(static_cast<py::ssize_t>(n), reinterpret_cast<std::int64_t*>(order->data()),
                                     owner);
}

// A sorted copy of (N, 3) points.
template <typename T>
py::object SortedCopy(const py::array_t<T, py::array::c_style>& in) {
    py::array_t<T> out = NewArray<T>(in.shape(0), 3);
    const std::size_t n = static_cast<std::size_t>(in.shape(0));
    std::memcpy(out.mutable_data(), in.data(), n * 3 * sizeof(T));
    auto* points = reinterpret_cast<tBaseXYZPoint<T>*>(out.mutable_data());
    py::gil_scoped_release release;
    lxbase::SortZOrder(points, n);
    return std::move(out);
}

// The frame of an (3, 4) or (4, 4) matrix; row 3 of a 4 x 4 is ignored.
lxmath::Frame FrameFromMatrix(const py::object& matrix) {
    py::array_t<double, py::array::c_style> m = py::array_t<double, py::array::c_style>::ensure(matrix);
    if (!m) {
        PyErr_Clear();
        throw py::type_error("matrix: expected a 3x4 or 4x4 array of numbers");
    }
    if (m.ndim() != 2 || m.shape(1) != 4 || (m.shape(0) != 3 && m.shape(0) != 4))
        throw py::value_error("matrix: expected shape (3, 4) or (4, 4), got " + ShapeText(m));
    lxmath::Mat4<double> full;
    std::memcpy(full.data(), m.data(), 12 * sizeof(double));
    return lxmath::Frame(full);
}

py::array_t<double> MatrixOf(const lxmath::Frame& frame) {
    py::array_t<double> out({4, 4});
    const lxmath::Mat4<double> m = frame.GetMatrix();
    std::memcpy(out.mutable_data(), m.data(), 16 * sizeof(double));
    return out;
}

// Maps (N, 3) float64 points through the frame.
py::array_t<double> MapPoints(const lxmath::Frame& frame, const py::object& xyz, const py::object& given, bool back) {
    auto in = CheckArray<double>(xyz, "xyz", 3);
    const std::size_t n = static_cast<std::size_t>(in.shape(0));
    py::array_t<double> out = ResultArray<double>(given, static_cast<py::ssize_t>(n), 3, in, true);
    const double* source = in.data();
    double* target = out.mutable_data();
    py::gil_scoped_release release;
    ParallelFor(n, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            const lxmath::Vec3<double> p(source[3 * i], source[3 * i + 1], source[3 * i + 2]);
            const lxmath::Vec3<double> q = back ? frame.BackPropagatePoint(p) : frame.PropagatePoint(p);
            target[3 * i] = q[0];
            target[3 * i + 1] = q[1];
            target[3 * i + 2] = q[2];
        }
    });
    return out;
}

void RegisterFrame(py::module_& m) {
    py::class_<lxmath::Frame>(m, "Frame")
        .def(py::init([](const py::object& matrix, const py::object& registration) {
                 if (!matrix.is_none() && !registration.is_none())
                     throw py::value_error("Frame: give either matrix or registration, not both");
                 if (!matrix.is_none()) return FrameFromMatrix(matrix);
                 if (!registration.is_none()) return lxmath::Frame(RegistrationFrom(registration, "registration"));
                 return lxmath::Frame();
             }),
             py::arg("matrix") = py::none(), py::kw_only(), py::arg("registration") = py::none())
        .def_property_readonly("matrix", &MatrixOf)
        .def_property_readonly("registration",
                               [](const lxmath::Frame& frame) {
                                   return RegistrationTuple(static_cast<lxbase::RegistrationInformation>(frame));
                               })
        .def(
            "propagate_points",
            [](const lxmath::Frame& f, const py::object& xyz, const py::object& out) {
                return MapPoints(f, xyz, out, false);
            },
            py::arg("xyz"), py::arg("out") = py::none())
        .def(
            "back_propagate_points",
            [](const lxmath::Frame& f, const py::object& xyz, const py::object& out) {
                return MapPoints(f, xyz, out, true);
            },
            py::arg("xyz"), py::arg("out") = py::none())
        .def("propagate_frame", &lxmath::Frame::PropagateFrame, py::arg("other"))
        .def("back_propagate_frame", &lxmath::Frame::BackPropagateFrame, py::arg("other"))
        .def("__eq__",
             [](const lxmath::Frame& a, const lxmath::Frame& b) {
                 for (int r = 0; r < 3; ++r)
                     for (int c = 0; c < 4; ++c)
                         if (!(a(r, c) == b(r, c))) return false;
                 return true;
             },
             py::is_operator())
        .def("__repr__", [](const lxmath::Frame& f) {
            return "lxbase.Frame(" + py::repr(MatrixOf(f)[py::slice(0, 3, 1)]).cast<std::string>() + ")";
        });
}

}  // namespace

lxbase::RegistrationInformation RegistrationFrom(const py::object& registration, const char* name) {
    if (py::isinstance<lxmath::Frame>(registration))
        return static_cast<lxbase::RegistrationInformation>(registration.cast<const lxmath::Frame&>());
    const std::string prefix = std::string(name) + ": ";
    py::tuple pair;
    try {
        pair = py::tuple(py::iterable(registration));
    } catch (const py::error_already_set&) {
        throw py::type_error(prefix + "expected a Frame or a pair (axes 3x3, translation 3)");
    }
    if (pair.size() != 2) throw py::value_error(prefix + "expected a Frame or a pair (axes 3x3, translation 3)");
    auto axes = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(pair[0]);
    auto translation = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(pair[1]);
    if (!axes || !translation) {
        PyErr_Clear();
        throw py::type_error(prefix + "axes and translation must be arrays of numbers");
    }
    if (axes.ndim() != 2 || axes.shape(0) != 3 || axes.shape(1) != 3)
        throw py::value_error(prefix + "axes must have shape (3, 3), got " + ShapeText(axes));
    if (translation.ndim() != 1 || translation.shape(0) != 3)
        throw py::value_error(prefix + "translation must have shape (3,), got " + ShapeText(translation));
    const double* a = axes.data();
    const double* t = translation.data();
    const lxbase::Orientation orientation(lxbase::XYZ(a[0], a[3], a[6]), lxbase::XYZ(a[1], a[4], a[7]),
                                          lxbase::XYZ(a[2], a[5], a[8]));
    return lxbase::RegistrationInformation(orientation, lxbase::XYZ(t[0], t[1], t[2]));
}

py::tuple RegistrationTuple(const lxbase::RegistrationInformation& registration) {
    py::array_t<double> axes({3, 3});
    py::array_t<double> translation(3);
    const lxbase::XYZ* columns[3] = {&registration.orientation.xAxis, &registration.orientation.yAxis,
                                     &registration.orientation.zAxis};
    for (int c = 0; c < 3; ++c) {
        axes.mutable_at(0, c) = columns[c]->x;
        axes.mutable_at(1, c) = columns[c]->y;
        axes.mutable_at(2, c) = columns[c]->z;
    }
    translation.mutable_at(0) = registration.translation.x;
    translation.mutable_at(1) = registration.translation.y;
    translation.mutable_at(2) = registration.translation.z;
    return py::make_tuple(axes, translation);
}

void RegisterGeometry(py::module_& m) {
    m.def(
        "cartesian_to_polar",
        [](const py::object& xyz, const py::object& out) {
            return ForFloatPoints(xyz, "xyz", [&](auto in) {
                using T = typename decltype(in)::value_type;
                return ConvertPoints<tBasePolarPoint<T>, tBaseXYZPoint<T>>(in, out);
            });
        },
        py::arg("xyz"), py::arg("out") = py::none());
    m.def(
        "polar_to_cartesian",
        [](const py::object& polar, const py::object& out) {
            return ForFloatPoints(polar, "polar", [&](auto in) {
                using T = typename decltype(in)::value_type;
                return ConvertPoints<tBaseXYZPoint<T>, tBasePolarPoint<T>>(in, out);
            });
        },
        py::arg("polar"), py::arg("out") = py::none());
    m.def(
        "zorder_permutation",
        [](const py::object& xyz) -> py::object {
            py::array a = py::array::ensure(xyz);
            if (a && a.dtype().equal(py::dtype::of<float>())) return ZOrderIndices<float>(a);
            if (a && a.dtype().equal(py::dtype::of<double>())) return ZOrderIndices<double>(a);
            ThrowNotFloat(xyz, a, "xyz");
        },
        py::arg("xyz"));
    m.def(
        "sort_zorder",
        [](const py::object& xyz) { return ForFloatPoints(xyz, "xyz", [](auto in) { return SortedCopy(in); }); },
        py::arg("xyz"));
    RegisterFrame(m);
}

}  // namespace lxpy
