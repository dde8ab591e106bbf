// One open acquisition of the Python module: the handle, its facts, reads straight into numpy
// arrays and conversions with a progress callable that may cancel.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "travune/travune.h"

namespace travune::python {

class PyAcquisition {
 public:
  PyAcquisition(const std::string& descName, const std::optional<std::string>& dataName, int32_t sourceType);
  ~PyAcquisition();
  PyAcquisition(const PyAcquisition&) = delete;
  PyAcquisition& operator=(const PyAcquisition&) = delete;

  void Close();
  pybind11::dict Info();
  pybind11::dict Channel(int32_t chan);
  // count scans from first of the listed channels (empty: all) as a scans x channels array of
  // float32 (double_ false) or float64.
  pybind11::array Read(int64_t first, int64_t count, const std::vector<int32_t>& chans, bool wide);
  pybind11::array_t<double> Times(int64_t first, int64_t count);
  // Converts into dataName; progress(done, total) returning true cancels. A Python exception
  // raised by progress (KeyboardInterrupt among them) cancels and is raised again afterwards.
  void Convert(const std::string& dataName, int32_t format, const std::vector<int32_t>& chans, int64_t first,
               int64_t count, uint32_t flags, const pybind11::object& progress);

 private:
  tvnAcq* Handle() const;

  tvnAcq* acq_ = nullptr;
};

}  // namespace travune::python
