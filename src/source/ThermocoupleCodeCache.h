// The driver's temperatures of a single-word thermocouple channel, one per 16-bit code, each
// asked of the driver the first time its code is met.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace travune {

class ThermocoupleCodeCache {
 public:
  // A channel read through the driver with this gain and sensor kind. The table is kept in
  // pages of 256 codes made when a code of theirs is first met, so that opening a source costs
  // nothing and a signal that stays in a narrow band holds a few KiB, not 256 KiB.
  ThermocoupleCodeCache(int32_t gain, int32_t polarity);

  // DriverThermocouple(gain, polarity, raw, 1): with one word the driver's result depends on
  // the code alone, so the first answer for a code is the answer for every later one. Without
  // memory for a new page the driver is asked again; nothing is thrown.
  int16_t TenthsAt(const uint8_t* raw);

 private:
  static constexpr int32_t kNotAsked = INT32_MIN;
  static constexpr size_t kCodesPerPage = 256;
  using Page = std::array<int32_t, kCodesPerPage>;  // by code; kNotAsked until the driver was asked

  int16_t AskDriver(const uint8_t* raw) const;

  int32_t gain_;
  int32_t polarity_;
  std::array<std::unique_ptr<Page>, (size_t{1} << 16) / kCodesPerPage> pages_;
};

}  // namespace travune
