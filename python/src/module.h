// Registration functions of the parts of the lxbase._lxbase module.
#ifndef LXBASE_PYTHON_MODULE_H
#define LXBASE_PYTHON_MODULE_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace lxpy {

namespace py = pybind11;

void RegisterGeometry(py::module_& m);
void RegisterColour(py::module_& m);
// parseError: the Python class that text failing to parse raises.
void RegisterIdentity(py::module_& m, PyObject* parseError);

// The numpy dtype of one packed HNormalRGB record (8 bytes).
py::dtype RecordDtype();

}  // namespace lxpy

#endif
