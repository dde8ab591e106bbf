// Pieces the sources' ScaleScans overrides share: the walk over the scans of a raw block and the
// clamp of float samples that already hold user units.
#pragma once

#include <cstdint>

#include "support/LittleEndian.h"

namespace travune {

// Stores scaleChannel(chan, scanStart) for channels 0 ... chans - 1 of scans consecutive scans
// into out, scan after scan; the first scan starts at firstScanStart, each next one scanSize
// bytes further.
template <typename ScaleChannel>
inline void ScaleEachScan(const uint8_t* firstScanStart, int64_t scanSize, int64_t scans, int32_t chans, double* out,
                          ScaleChannel scaleChannel) {
  const uint8_t* scanStart = firstScanStart;
  for (int64_t i = 0; i < scans; ++i, scanStart += scanSize) {
    for (int32_t chan = 0; chan < chans; ++chan) *out++ = scaleChannel(chan, scanStart);
  }
}

// The float sample at raw held within the channel's range: lower when at or below lower, else
// upper when at or above upper, else the sample itself (a NaN sample passes unchanged).
inline double ClampedFloatSample(const uint8_t* raw, double lower, double upper) {
  const double value = le::F32(raw);
  if (value <= lower) return lower;
  if (value >= upper) return upper;
  return value;
}

}  // namespace travune
