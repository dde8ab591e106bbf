// Per-code memory of a single-word thermocouple channel's driver results.
#include "source/ThermocoupleCodeCache.h"

#include "source/DriverLibrary.h"
#include "support/LittleEndian.h"

namespace travune {

ThermocoupleCodeCache::ThermocoupleCodeCache(int32_t gain, int32_t polarity)
    : gain_(gain), polarity_(polarity), tenths_(size_t{1} << 16, kNotAsked) {}

int16_t ThermocoupleCodeCache::TenthsAt(const uint8_t* raw) {
  int32_t& tenths = tenths_[le::U16(raw)];
  if (tenths == kNotAsked) tenths = DriverThermocouple(gain_, polarity_, raw, 1);
  return static_cast<int16_t>(tenths);
}

}  // namespace travune
