// The low 16 bits of floor(x + 0.5) for the 16-bit code writers, without a libm call per value
// where the rounded value fits 32 bits (the baseline x86-64 target has no rounding instruction).
#pragma once

#include <cmath>
#include <cstdint>

namespace travune {

// Values beyond ±2^31: the integer's low 16 bits through the exact remainder; not-a-number
// and infinities give 0.
inline uint16_t LowBitsOfLargeRoundedCode(double shifted) {
  const double rounded = std::floor(shifted);
  if (!std::isfinite(rounded)) return 0;
  if (std::fabs(rounded) < 2147483648.0) return static_cast<uint16_t>(static_cast<int32_t>(rounded));
  const double low = std::fmod(rounded, 65536.0);  // exact; sign of rounded
  return static_cast<uint16_t>(static_cast<int32_t>(low < 0.0 ? low + 65536.0 : low));
}

// Truncation toward zero is exact for |x| < 2^31; stepping down by one where the truncated
// value lies above x turns it into the floor, bit for bit what std::floor gives.
inline uint16_t LowBitsOfRoundedCode(double code) {
  const double shifted = code + 0.5;
  if (!(std::fabs(shifted) < 2147483648.0)) return LowBitsOfLargeRoundedCode(shifted);
  const int32_t truncated = static_cast<int32_t>(shifted);
  const int32_t floor = truncated - (static_cast<double>(truncated) > shifted ? 1 : 0);
  return static_cast<uint16_t>(floor);
}

}  // namespace travune
