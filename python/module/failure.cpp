// Failures of the library as exceptions.

#include "python/module/failure.h"

#include <pybind11/pybind11.h>

namespace py = pybind11;

Failure LastFailure() {
    const PtcFailure last = PtcLastFailure();
    return {last.code, last.system_error, last.text, last.what};
}

void Raise(const Failure& failure) {
    const py::object exception =
        py::module_::import("ptc.errors")
            .attr("exception_of")(static_cast<int>(failure.code), failure.system_error,
                                  py::bytes(failure.text), py::bytes(failure.what));
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
    throw py::error_already_set();
}
