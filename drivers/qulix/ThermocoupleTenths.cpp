// Rounding a thermocouple EMF to tenths of a degree by a search of the half-tenth EMFs.
#include "ThermocoupleTenths.h"

#include <algorithm>
#include <cmath>

namespace travune::qulix {

size_t ThermocoupleTenths::StepOf(double emf) const {
  const double position = (emf - indexOrigin_) * stepsPerMv_;
  const size_t lastStep = stepStarts_.size() - 2;
  if (!(position < static_cast<double>(lastStep))) return lastStep;
  return position >= 1.0 ? static_cast<size_t>(position) : 0;
}

void ThermocoupleTenths::IndexSteps() {
  const size_t steps = std::max<size_t>(1, boundaries_.size() / kBoundariesPerStep);
  stepStarts_.assign(steps + 1, 0);
  if (boundaries_.size() > 1) {
    indexOrigin_ = boundaries_.front();
    stepsPerMv_ = static_cast<double>(steps) / (boundaries_.back() - boundaries_.front());
  }
  size_t below = 0;
  for (size_t step = 0; step <= steps; ++step) {
    while (below < boundaries_.size() && StepOf(boundaries_[below]) < step) ++below;
    stepStarts_[step] = static_cast<uint32_t>(below);
  }
}

std::optional<int16_t> ThermocoupleTenths::Of(double emf) const {
  // Temperatures above the i-th half tenth round to lowest_ + i + 1 or more. The first half
  // tenth above emf lies between the starts of emf's step and of the next one: those of lower
  // steps lie below emf, those of higher steps above it.
  const size_t step = StepOf(emf);
  const auto above = std::upper_bound(boundaries_.begin() + stepStarts_[step],
                                      boundaries_.begin() + stepStarts_[step + 1], emf);
  if (above != boundaries_.end() && *above - emf < kMarginMv) return std::nullopt;
  if (above != boundaries_.begin() && emf - *(above - 1) < kMarginMv) return std::nullopt;
  return static_cast<int16_t>(lowest_ + (above - boundaries_.begin()));
}

}  // namespace travune::qulix
