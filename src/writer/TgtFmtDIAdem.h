// DIAdem writer: a text header file of numbered key lines (global header, time channel, one
// header per channel) and a data file of interleaved little-endian 32-bit floats.
#pragma once

#include "writer/TgtFmt.h"

namespace travune {

class TgtFmtDIAdem : public TgtFmt {
 public:
  explicit TgtFmtDIAdem(SrcFmt* source);
  // Writes the whole header file; the data file receives only the blocks.
  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;
  // Each scan: its time relative to the trigger in seconds when the rate is not uniform, then
  // one float per channel. Fails only when the header could not be written.
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;

 private:
  // True when every scan carries its own time value in front of the channel values.
  bool HasTimeValues() const { return !source_->HasUniformRate(); }

  bool headerWritten_ = false;
};

}  // namespace travune
