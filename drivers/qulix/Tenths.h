// Rounds a temperature to the signed 16-bit count of tenths of a degree that the
// conversions return.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>

namespace travune::qulix {

// Tenths of °C, rounded half away from zero; empty when it does not fit in 16 bits.
inline std::optional<int16_t> RoundToTenths(double celsius) {
  const double tenths = celsius * 10.0;
  if (!(tenths > -32768.5 && tenths < 32767.5)) return std::nullopt;
  return static_cast<int16_t>(std::lround(tenths));
}

}  // namespace travune::qulix
