// Pieces the sources' ScaleScans overrides share: the walks over the scans of a raw block, the
// clamp of float samples that already hold user units and the line through 16-bit words.
#pragma once

#include <cstdint>
#include <vector>

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

// Channels first ... first + count - 1 whose raw samples lie side by side in every scan, the
// first one's at byte rawOffset of the scan.
struct AdjacentChannels {
  int32_t first = 0;
  int32_t count = 0;
  int64_t rawOffset = 0;
};

// The channels 0 ... chans - 1 cut into the fewest runs of adjacent samples of sampleSize bytes;
// rawOffsetOf(chan) gives a channel's byte offset in the scan.
template <typename RawOffsetOf>
std::vector<AdjacentChannels> FindAdjacentChannels(int32_t chans, int64_t sampleSize, RawOffsetOf rawOffsetOf) {
  std::vector<AdjacentChannels> runs;
  for (int32_t chan = 0; chan < chans; ++chan) {
    const int64_t offset = rawOffsetOf(chan);
    if (runs.empty() || offset != runs.back().rawOffset + sampleSize * runs.back().count) {
      runs.push_back({chan, 0, offset});
    }
    ++runs.back().count;
  }
  return runs;
}

// ScaleEachScan by runs of adjacent channels: scaleRun(run, first sample, first output) stores the
// run's values of one scan. A run's loop has no per-channel indirection, so it can be vectorised.
template <typename ScaleRun>
inline void ScaleEachScanByRuns(const uint8_t* firstScanStart, int64_t scanSize, int64_t scans, int32_t chans,
                                const std::vector<AdjacentChannels>& runs, double* out, ScaleRun scaleRun) {
  const uint8_t* scanStart = firstScanStart;
  for (int64_t i = 0; i < scans; ++i, scanStart += scanSize, out += chans) {
    for (const AdjacentChannels& run : runs) scaleRun(run, scanStart + run.rawOffset, out + run.first);
  }
}

// count adjacent float samples from raw, each held within its channel's range: lower when at or
// below lower, else upper when at or above upper, else the sample itself (a NaN sample passes
// unchanged). Both limits are read whatever the sample, so the selects need no branch.
inline void ClampFloatSamples(const uint8_t* raw, const double* lower, const double* upper, int32_t count,
                              double* out) {
  for (int32_t k = 0; k < count; ++k) {
    const double value = le::F32(raw + 4 * k);
    const double low = lower[k];
    const double high = upper[k];
    const double heldBelowUpper = value >= high ? high : value;
    out[k] = value <= low ? low : heldBelowUpper;
  }
}

inline double ClampedFloatSample(const uint8_t* raw, double lower, double upper) {
  double value = 0.0;
  ClampFloatSamples(raw, &lower, &upper, 1, &value);
  return value;
}

// count adjacent 16-bit words from raw, each read signed and, where its wrap is 65536, unsigned
// (the same whole number plus 65536 when the signed reading is negative), then m·x + b. The wrap is
// chosen, not the sum: a select between loaded values lets the compiler vectorise the loop.
inline void ScaleWordSamples(const uint8_t* raw, const double* wrap, const double* m, const double* b, int32_t count,
                             double* out) {
  for (int32_t k = 0; k < count; ++k) {
    const double signedWord = le::I16(raw + 2 * k);
    const double channelWrap = wrap[k];
    const double added = signedWord < 0.0 ? channelWrap : 0.0;
    out[k] = (signedWord + added) * m[k] + b[k];
  }
}

// The factors of 16-bit word channels side by side, by channel (those ScaleWordSamples takes).
struct WordFactors {
  std::vector<double> wrap, m, b;

  void Add(double channelWrap, double channelM, double channelB) {
    wrap.push_back(channelWrap);
    m.push_back(channelM);
    b.push_back(channelB);
  }
  void ScaleRun(const AdjacentChannels& run, const uint8_t* raw, double* out) const {
    const size_t first = static_cast<size_t>(run.first);
    ScaleWordSamples(raw, &wrap[first], &m[first], &b[first], run.count, out);
  }
};

}  // namespace travune
