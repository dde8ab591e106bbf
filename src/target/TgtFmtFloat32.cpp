// Raw float writer: scaled values rounded once to the nearest float32, little-endian, scan
// after scan, channel after channel.
#include "target/TgtFmtFloat32.h"

#include "support/LittleEndian.h"

namespace travune {

TgtFmtFloat32::TgtFmtFloat32(SrcFmt* source) : TgtFmt(source) {
  outputBytesPerScan_ = 4 * static_cast<int64_t>(source->GetNumChans());
  ok_ = true;
}

int64_t TgtFmtFloat32::ConvertDataBlock(int64_t scans, uint8_t* out, int64_t firstScan) {
  if (scans <= 0 || out == nullptr) return 0;
  uint8_t* p = out;
  for (int64_t scan = firstScan; scan < firstScan + scans; ++scan) {
    const int32_t chans = source_->GetNumChans();
    for (int32_t chan = 0; chan < chans; ++chan) {
      double value = 0.0;
      source_->GetScaledValue(scan, chan, &value);
      le::PutF32(p, static_cast<float>(value));
      p += 4;
    }
  }
  return p - out;
}

}  // namespace travune
