// Pernix NUL writer: reads the whole acquisition block by block (progress and read errors as for
// any conversion) and leaves an empty output file.
#pragma once

#include "writer/TgtFmt.h"

namespace travune {

// Every operation is the base's: nothing before, nothing per block, nothing after. Two bytes per
// channel and scan are announced only for the session's buffer sizing and disk-space check.
class TgtFmtPernix : public TgtFmt {
 public:
  explicit TgtFmtPernix(SrcFmt* source) : TgtFmt(source) {
    outputBytesPerScan_ = 2 * static_cast<int64_t>(NumChans());
    ok_ = true;
  }
};

}  // namespace travune
