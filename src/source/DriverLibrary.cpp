// Calls into the acquisition driver library with its fixed argument lists; a non-zero status
// of a temperature conversion makes the sample read as the failure value.
#include "source/DriverLibrary.h"

#include "qulix.h"
#include "support/LittleEndian.h"

namespace travune {

namespace {

// The driver may call back with two values; the library answers with the second.
int32_t DriverCallback(int32_t, int32_t second) { return second; }

}  // namespace

void RegisterDriverCallback() { QlxRegisterCallback(&DriverCallback); }

int16_t DriverThermocouple(int32_t gain, int32_t polarity, const uint8_t* words, int32_t numWords) {
  uint8_t out[2] = {};
  if (QlxThermocouple(2, 0, 1, gain, polarity & 0xFF, 1, words, 1, out, numWords) != 0) return kDriverFailure;
  return le::I16(out);
}

int16_t DriverRtd(int32_t gain, const uint8_t* words) {
  uint8_t out[2] = {};
  if (QlxRtd(1, 0, 1, gain, 1, words, 1, out, 1) != 0) return kDriverFailure;
  return le::I16(out);
}

void DriverUnpack12(uint8_t* block, int32_t count, int32_t channels) {
  QlxUnpack12(block, 0, count, count, channels);
}

}  // namespace travune
