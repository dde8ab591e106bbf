// Raw float writer: scaled values rounded once to the nearest float32, little-endian, scan
// after scan, channel after channel.
#include "writer/TgtFmtFloat32.h"

#include "support/LittleEndian.h"

namespace travune {

TgtFmtFloat32::TgtFmtFloat32(SrcFmt* source) : TgtFmt(source) {
  outputBytesPerScan_ = 4 * static_cast<int64_t>(source->GetNumChans());
  ok_ = true;
}

int64_t TgtFmtFloat32::ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) {
  if (scans <= 0) return 0;
  const size_t count = static_cast<size_t>(scans) * static_cast<size_t>(NumChans());
  const double* values = ScaleBlock(firstScan, scans);
  uint8_t* bytes = out.Extend(4 * count);
  if (values == nullptr || bytes == nullptr) return -1;
  for (size_t i = 0; i < count; ++i) le::PutF32(bytes + 4 * i, static_cast<float>(values[i]));
  return static_cast<int64_t>(4 * count);
}

}  // namespace travune
