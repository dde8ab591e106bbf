// Raw float writer: every scan's scaled values as little-endian 32-bit floats, nothing else.
#pragma once

#include "writer/TgtFmt.h"

namespace travune {

class TgtFmtFloat32 : public TgtFmt {
 public:
  explicit TgtFmtFloat32(SrcFmt* source);
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;
};

}  // namespace travune
