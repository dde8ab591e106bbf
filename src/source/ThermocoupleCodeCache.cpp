// Per-code memory of a single-word thermocouple channel's driver results.
#include "source/ThermocoupleCodeCache.h"

#include <new>

#include "source/DriverLibrary.h"
#include "support/LittleEndian.h"

namespace travune {

ThermocoupleCodeCache::ThermocoupleCodeCache(int32_t gain, int32_t polarity) : gain_(gain), polarity_(polarity) {}

int16_t ThermocoupleCodeCache::AskDriver(const uint8_t* raw) const {
  return DriverThermocouple(gain_, polarity_, raw, 1);
}

int16_t ThermocoupleCodeCache::TenthsAt(const uint8_t* raw) {
  const uint16_t code = le::U16(raw);
  std::unique_ptr<Page>& page = pages_[code / kCodesPerPage];
  if (!page) {
    page.reset(new (std::nothrow) Page);
    if (!page) return AskDriver(raw);
    page->fill(kNotAsked);
  }
  int32_t& tenths = (*page)[code % kCodesPerPage];
  if (tenths == kNotAsked) tenths = AskDriver(raw);
  return static_cast<int16_t>(tenths);
}

}  // namespace travune
