// Scaling whole scans through a bounded scratch and keeping every channel or one.
#include "api/FloatScaler.h"

#include <algorithm>
#include <new>

namespace travune {

namespace {

// Doubles scaled per piece when scans are small: 64 KiB of scratch.
constexpr size_t kScratchValues = 8192;

size_t ScratchValues(const SrcFmt& source) {
  return std::max(kScratchValues, static_cast<size_t>(std::max(source.GetNumChans(), 1)));
}

}  // namespace

bool FloatScaler::Prepare(const SrcFmt& source) {
  try {
    scratch_.assign(ScratchValues(source), 0.0);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

float* FloatScaler::Scale(const SrcFmt& source, int64_t firstScan, int64_t scans, int32_t chan, float* out) {
  const int32_t chans = source.GetNumChans();
  if (chans <= 0 || scans <= 0) return out;
  if (scratch_.size() < static_cast<size_t>(chans)) scratch_.assign(ScratchValues(source), 0.0);
  const int64_t scansPerPiece = static_cast<int64_t>(scratch_.size()) / chans;
  for (int64_t done = 0; done < scans;) {
    const int64_t piece = std::min(scansPerPiece, scans - done);
    source.ScaleScans(firstScan + done, piece, scratch_.data());
    if (chan == kAllChans) {
      out = std::transform(scratch_.data(), scratch_.data() + piece * chans, out,
                           [](double v) { return static_cast<float>(v); });
    } else {
      for (int64_t s = 0; s < piece; ++s) *out++ = static_cast<float>(scratch_[static_cast<size_t>(s * chans + chan)]);
    }
    done += piece;
  }
  return out;
}

}  // namespace travune
