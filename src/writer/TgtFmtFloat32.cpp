// Raw float writer: scaled values rounded once to the nearest float32, little-endian, scan
// after scan, channel after channel.
#include "writer/TgtFmtFloat32.h"

namespace travune {

TgtFmtFloat32::TgtFmtFloat32(SrcFmt* source) : TgtFmt(source) {
  outputBytesPerScan_ = 4 * static_cast<int64_t>(source->GetNumChans());
  ok_ = true;
}

int64_t TgtFmtFloat32::ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) {
  if (scans <= 0) return 0;
  if (AppendFloat32Block(firstScan, scans, out) == nullptr) return -1;
  return 4 * scans * NumChans();
}

}  // namespace travune
