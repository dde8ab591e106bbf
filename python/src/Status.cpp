// The error classes live in Python (travune/_errors.py); this asks that module for the instance
// that matches a status and raises it.
#include "Status.h"

#include <pybind11/pybind11.h>

#include "travune/travune.h"

namespace py = pybind11;

namespace travune::python {

void RaiseStatus(int32_t status) {
  const py::object error = py::module_::import("travune._errors").attr("error_for")(status, tvnStatusText(status));
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
  throw py::error_already_set();
}

}  // namespace travune::python
