// Rounding a thermocouple EMF to tenths of a degree by a search of the half-tenth EMFs.
#include "ThermocoupleTenths.h"

#include <algorithm>
#include <cmath>

namespace travune::qulix {

std::optional<int16_t> ThermocoupleTenths::Of(double emf) const {
  // Temperatures above the i-th half tenth round to lowest_ + i + 1 or more.
  const auto above = std::upper_bound(boundaries_.begin(), boundaries_.end(), emf);
  if (above != boundaries_.end() && *above - emf < kMarginMv) return std::nullopt;
  if (above != boundaries_.begin() && emf - *(above - 1) < kMarginMv) return std::nullopt;
  return static_cast<int16_t>(lowest_ + (above - boundaries_.begin()));
}

}  // namespace travune::qulix
