// One tabulated period of a waveform, so that writing millions of scans costs a table look-up
// per sample instead of a sine; gives exactly Waveform::At's values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "samples/Waveform.h"

namespace travune::samples {

class SignalTable {
 public:
  explicit SignalTable(const Waveform& wave);

  double At(int64_t scan) const { return values_[static_cast<size_t>(scan % period_)]; }

 private:
  int64_t period_;
  std::vector<double> values_;
};

}  // namespace travune::samples
