// DADiSP writer: the raw float blocks in the data file, and a text header file naming the data
// set and its interlaced series (labels and units).
#pragma once

#include "writer/TgtFmtFloat32.h"

namespace travune {

class TgtFmtDADiSP : public TgtFmtFloat32 {
 public:
  explicit TgtFmtDADiSP(SrcFmt* source);
  // Writes the whole header file; the data file receives only the blocks.
  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;
};

}  // namespace travune
