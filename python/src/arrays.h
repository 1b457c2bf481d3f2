// Checking and creating the numpy arrays of the lxbase module. Every array
// argument is checked for its dtype and shape, with a message that names the
// argument; results are fresh C-contiguous arrays.
#ifndef LXBASE_PYTHON_ARRAYS_H
#define LXBASE_PYTHON_ARRAYS_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace lxpy {

namespace py = pybind11;

// The numpy name of T's dtype, for messages.
template <typename T>
std::string DtypeName() {
    return py::str(py::dtype::of<T>()).cast<std::string>();
}

inline std::string ShapeText(const py::array& a) {
    std::string text = "(";
    for (py::ssize_t i = 0; i < a.ndim(); ++i) {
        if (i) text += ", ";
        text += std::to_string(a.shape(i));
    }
    return text + (a.ndim() == 1 ? ",)" : ")");
}

// `object` as a C-contiguous array of T with shape (N,) when columns is 0,
// else (N, columns). A wrong dtype is a TypeError, a wrong shape a
// ValueError; both name the argument. The values are never converted.
template <typename T>
py::array_t<T, py::array::c_style> CheckArray(const py::handle& object, const char* name, py::ssize_t columns) {
    const std::string expected = columns ? "(N, " + std::to_string(columns) + ")" : "(N,)";
    py::array a = py::array::ensure(object);
    if (!a) {
        PyErr_Clear();
        throw py::type_error(std::string(name) + ": expected a numpy array of " + DtypeName<T>() + ", got " +
                             py::str(py::type::of(object)).cast<std::string>());
    }
    if (!a.dtype().is(py::dtype::of<T>()) && !a.dtype().equal(py::dtype::of<T>()))
        throw py::type_error(std::string(name) + ": expected dtype " + DtypeName<T>() + ", got " +
                             py::str(a.dtype()).cast<std::string>());
    const bool shapeOk = columns ? (a.ndim() == 2 && a.shape(1) == columns) : a.ndim() == 1;
    if (!shapeOk)
        throw py::value_error(std::string(name) + ": expected shape " + expected + ", got " + ShapeText(a));
    return py::array_t<T, py::array::c_style>::ensure(a);
}

// A new C-contiguous array of shape (n,) or (n, columns).
template <typename T>
py::array_t<T> NewArray(py::ssize_t n, py::ssize_t columns) {
    if (columns) return py::array_t<T>({n, columns});
    return py::array_t<T>(n);
}

// The result array of an element-wise function: a new (n,) or (n, columns)
// array of T, or `out` when the caller gives one. A given array must match
// exactly (dtype, shape, C-contiguous, writeable) and may share memory with
// the input only when it is the input itself and every element's result
// replaces that element in place (sameLayout).
template <typename T>
py::array_t<T> ResultArray(const py::object& out, py::ssize_t n, py::ssize_t columns, const py::array& input,
                           bool sameLayout) {
    if (out.is_none()) return NewArray<T>(n, columns);
    if (!py::isinstance<py::array>(out))
        throw py::type_error("out: expected a numpy array, got " + py::str(py::type::of(out)).cast<std::string>());
    py::array a = py::reinterpret_borrow<py::array>(out);
    if (!a.dtype().equal(py::dtype::of<T>()))
        throw py::type_error("out: expected dtype " + DtypeName<T>() + ", got " + py::str(a.dtype()).cast<std::string>());
    const bool shapeOk = columns ? (a.ndim() == 2 && a.shape(0) == n && a.shape(1) == columns)
                                 : (a.ndim() == 1 && a.shape(0) == n);
    if (!shapeOk)
        throw py::value_error("out: expected shape (" + std::to_string(n) + (columns ? ", " + std::to_string(columns) + ")" : ",)") +
                              ", got " + ShapeText(a));
    if (!(a.flags() & py::array::c_style) || !a.writeable())
        throw py::value_error("out: must be a writeable C-contiguous array");
    const char* outFirst = static_cast<const char*>(a.data());
    const char* inFirst = static_cast<const char*>(input.data());
    const bool overlap = a.nbytes() && input.nbytes() && outFirst < inFirst + input.nbytes() &&
                         inFirst < outFirst + a.nbytes();
    if (overlap && !(sameLayout && outFirst == inFirst)) throw py::value_error("out: overlaps the input");
    return py::reinterpret_borrow<py::array_t<T>>(a);
}

// Runs body(first, last) over [0, n) on up to the machine's cores, in
// blocks; small arrays stay on the calling thread. The split never changes a
// result: every element is computed alone.
template <typename Body>
void ParallelFor(std::size_t n, Body body) {
    const std::size_t kMinimumPerThread = 65536;
    std::size_t threads = std::thread::hardware_concurrency();
    if (threads == 0) threads = 1;
    if (threads > n / kMinimumPerThread) threads = n / kMinimumPerThread;
    if (threads <= 1) {
        body(std::size_t{0}, n);
        return;
    }
    std::vector<std::thread> workers;
    const std::size_t block = (n + threads - 1) / threads;
    for (std::size_t t = 1; t < threads; ++t) {
        const std::size_t first = t * block, last = std::min(n, first + block);
        if (first < last) workers.emplace_back([=] { body(first, last); });
    }
    body(std::size_t{0}, std::min(n, block));
    for (auto& worker : workers) worker.join();
}

}  // namespace lxpy

#endif
