// Every call into the acquisition driver library, with the argument lists the driver expects.
#pragma once

#include <cstdint>

namespace travune {

// The driver converts in tenths of a degree; a failed conversion reads as this value.
inline constexpr int16_t kDriverFailure = -32768;

// Registers the library's callback with the driver (at load).
void RegisterDriverCallback();
// Thermocouple temperature of one word (cold junction at 0 °C) or of a (reference, word) pair.
int16_t DriverThermocouple(int32_t gain, int32_t polarity, const uint8_t* words, int32_t numWords);
// 4-wire RTD temperature of four raw words.
int16_t DriverRtd(int32_t gain, const uint8_t* words);
// Unpacks count * channels packed 12-bit samples in place into 16-bit words.
void DriverUnpack12(uint8_t* block, int32_t count, int32_t channels);

}  // namespace travune
