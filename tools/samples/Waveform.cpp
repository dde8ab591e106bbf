// Values of the periodic test signals.
#include "samples/Waveform.h"

#include <cmath>
#include <numbers>

namespace travune::samples {

double Waveform::At(int64_t scan) const {
  const int64_t k = scan % period;
  switch (shape) {
    case Shape::Sine:
      return (low + high) / 2.0 +
             (high - low) / 2.0 * std::sin(2.0 * std::numbers::pi * static_cast<double>(k) / period);
    case Shape::Ramp:
      return low + (high - low) * static_cast<double>(k) / static_cast<double>(period - 1);
    case Shape::Square:
      return k < period / 2 ? high : low;
    case Shape::Counter:
      return low + static_cast<double>(k);
  }
  return low;
}

}  // namespace travune::samples
