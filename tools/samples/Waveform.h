// The periodic test signals of the samples: sine, rising ramp, square and counter. A value
// depends only on scan mod period, so a writer may tabulate one period.
#pragma once

#include <cstdint>

namespace travune::samples {

struct Waveform {
  enum class Shape { Sine, Ramp, Square, Counter };
  Shape shape = Shape::Sine;
  int64_t period = 100;  // scans per cycle; for Counter the modulus
  double low = 0.0;      // lowest value (Counter: the value at k = 0)
  double high = 1.0;     // highest value (not used by Counter)

  // The value at scan, with k = scan mod period:
  //   Sine:    (low + high) / 2 + (high − low) / 2 · sin(2π k / period)
  //   Ramp:    low + (high − low) · k / (period − 1)   (low at k = 0, high at the period's end)
  //   Square:  high for k < period / 2, low after
  //   Counter: low + k
  double At(int64_t scan) const;
};

}  // namespace travune::samples
