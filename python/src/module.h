// Registration functions of the parts of the lxbase._lxbase module.
#ifndef LXBASE_PYTHON_MODULE_H
#define LXBASE_PYTHON_MODULE_H

#include <cstddef>
#include <string>
#include <vector>

#include <lxbase/records.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace lxpy {

namespace py = pybind11;

void RegisterGeometry(py::module_& m);
void RegisterColour(py::module_& m);
// parseError: the Python class that text failing to parse raises.
void RegisterIdentity(py::module_& m, PyObject* parseError);

void RegisterScan(py::module_& m, PyObject* baseError);

// A registration given as a Frame or as (axes 3x3 whose columns are the
// local X, Y, Z axes, translation 3); errors name the argument.
lxbase::RegistrationInformation RegistrationFrom(const py::object& registration, const char* name);
// (axes 3x3 with the axes as columns, translation 3), float64 arrays.
py::tuple RegistrationTuple(const lxbase::RegistrationInformation& registration);

// The named fields ("rgb", "intensity", "normal_code", "normals") of n
// HNormalRGB records that lie stride bytes apart, as new arrays.
py::dict UnpackRecords(const void* records, std::size_t stride, std::size_t n, const std::vector<std::string>& fields);

// The numpy dtype of one packed HNormalRGB record (8 bytes).
py::dtype RecordDtype();

}  // namespace lxpy

#endif
