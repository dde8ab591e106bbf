// Tabulates one period of a waveform.
#include "samples/SignalTable.h"

namespace travune::samples {

SignalTable::SignalTable(const Waveform& wave) : period_(wave.period) {
  values_.reserve(static_cast<size_t>(period_));
  for (int64_t k = 0; k < period_; ++k) values_.push_back(wave.At(k));
}

}  // namespace travune::samples
