// The driver's temperatures of a single-word thermocouple channel, one per 16-bit code, each
// asked of the driver the first time its code is met.
#pragma once

#include <cstdint>
#include <vector>

namespace travune {

class ThermocoupleCodeCache {
 public:
  // A channel read through the driver with this gain and sensor kind; allocates the table of
  // every code (may throw std::bad_alloc).
  ThermocoupleCodeCache(int32_t gain, int32_t polarity);

  // DriverThermocouple(gain, polarity, raw, 1): with one word the driver's result depends on
  // the code alone, so the first answer for a code is the answer for every later one.
  int16_t TenthsAt(const uint8_t* raw);

 private:
  static constexpr int32_t kNotAsked = INT32_MIN;

  int32_t gain_;
  int32_t polarity_;
  std::vector<int32_t> tenths_;  // by code; kNotAsked until the driver was asked
};

}  // namespace travune
