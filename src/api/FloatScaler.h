// Scaled values of a source's current raw block as 32-bit floats, every channel or one. Whole
// scans are scaled, so a channel's value never depends on which channels were asked for.
#pragma once

#include <cstdint>
#include <vector>

#include "source/SrcFmt.h"

namespace travune {

class FloatScaler {
 public:
  // The channel argument of Scale that asks for every channel.
  static constexpr int32_t kAllChans = -1;

  // Sizes the scratch of doubles for source (at least one scan), so that scaling allocates
  // nothing; false when it cannot be had.
  bool Prepare(const SrcFmt& source);

  // Scales scans [firstScan, firstScan + scans) of source's current block into out, scan after
  // scan: every channel for kAllChans, else only chan (0 <= chan < GetNumChans()). Each value
  // is the source's double rounded once to float. Returns the position after the last float
  // written. Without Prepare for this source the scratch is sized here (std::bad_alloc).
  float* Scale(const SrcFmt& source, int64_t firstScan, int64_t scans, int32_t chan, float* out);

 private:
  std::vector<double> scratch_;
};

}  // namespace travune
