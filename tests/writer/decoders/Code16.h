// The 16-bit code a value gets in the Halvard and WAV files, from the plain rule: the line
// through (lower, -32768) and (upper, 32767) (a zero-width range counts as width 1), rounded
// half up, and the low 16 bits kept. Tests compute expected codes with it.
#pragma once

#include <cmath>
#include <cstdint>

namespace travune::testing {

inline int16_t ExpectedCode16(double value, double lower, double upper) {
  const double width = upper == lower ? 1.0 : upper - lower;
  const double perUnit = 65535.0 / width;
  const double rounded = std::floor(value * perUnit + (-32768.0 - perUnit * lower) + 0.5);
  if (!std::isfinite(rounded)) return 0;
  const double wrapped = std::fmod(rounded, 65536.0);  // exact: keeps the low 16 bits
  const int64_t low = static_cast<int64_t>(wrapped) & 0xFFFF;
  return static_cast<int16_t>(low >= 32768 ? low - 65536 : low);
}

}  // namespace travune::testing
