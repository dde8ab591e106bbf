// Turns a tvn status into the matching travune.Error subclass raised in Python.
#pragma once

#include <cstdint>

namespace travune::python {

// Raises the Python error of status (never TVN_OK) by throwing pybind11::error_already_set.
[[noreturn]] void RaiseStatus(int32_t status);
// Raises it when status is not TVN_OK.
inline void Check(int32_t status) {
  if (status != 0) RaiseStatus(status);
}

}  // namespace travune::python
