// The compiled part of the Python package lxbase: numpy-array forms of the
// library's functions and its value types. Every loop runs in C++ with the
// GIL released; library exceptions become lxbase.Error and its subclasses.
#include <exception>
#include <string>

#include <boost/uuid/entropy_error.hpp>

#include <lxbase/exceptions.h>

#include "module.h"

namespace lxpy {
namespace {

// A new exception class lxbase.<name> derived from the given bases; the
// module keeps the reference.
PyObject* AddException(py::module_& m, const char* name, py::tuple bases, const char* doc) {
    const std::string qualified = std::string("lxbase.") + name;
    PyObject* type = PyErr_NewExceptionWithDoc(qualified.c_str(), doc, bases.ptr(), nullptr);
    if (!type) throw py::error_already_set();
    m.add_object(name, py::handle(type));
    return type;
}

struct Exceptions {
    PyObject* error;
    PyObject* parse;
    PyObject* file;
    PyObject* header;
    PyObject* memory;
};

Exceptions RegisterExceptions(py::module_& m) {
    Exceptions e{};
    PyObject* exception = PyExc_Exception;
    e.error = AddException(m, "Error", py::make_tuple(py::handle(exception)),
                           "Base of every exception the lxbase library raises.");
    e.parse = AddException(m, "ParseError", py::make_tuple(py::handle(e.error), py::handle(PyExc_ValueError)),
                           "Text that is not a valid UUID, date or other library value.");
    e.file = AddException(m, "FileError", py::make_tuple(py::handle(e.error), py::handle(PyExc_OSError)),
                          "A file could not be opened, read or written.");
    e.header = AddException(m, "HeaderError", py::make_tuple(py::handle(e.error)),
                            "A versioned header block could not be read or written.");
    e.memory = AddException(m, "OutOfMemoryError", py::make_tuple(py::handle(e.error), py::handle(PyExc_MemoryError)),
                            "The library could not allocate a block.");
    return e;
}

}  // namespace

PYBIND11_MODULE(_lxbase, m) {
    m.doc() = "Compiled core of the lxbase package (use `import lxbase`).";
    static const Exceptions e = RegisterExceptions(m);
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const lxbase::LXFileNotOpenException& x) {
            PyErr_SetString(e.file, x.what());
        } catch (const lxbase::LXWritingException& x) {
            PyErr_SetString(e.file, x.what());
        } catch (const lxbase::LXOutOfMemoryException& x) {
            PyErr_SetString(e.memory, x.what());
        } catch (const lxbase::LXHeaderOperationException& x) {
            PyErr_SetString(e.header, x.what());
        } catch (const lxbase::LXException& x) {
            PyErr_SetString(e.error, x.what());
        } catch (const boost::uuids::entropy_error& x) {
            PyErr_SetString(e.error, x.what());
        }
    });
    RegisterGeometry(m);
    RegisterColour(m);
    RegisterIdentity(m, e.parse);
    RegisterScan(m, e.error);
}

}  // namespace lxpy
