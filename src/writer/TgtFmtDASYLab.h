// DASYLab writer: one file holding a text header, a binary global block, one binary record per
// channel, then every sample as an unsigned 16-bit code spanning the channel's range.
#pragma once

#include <vector>

#include "support/RoundedCode.h"
#include "writer/TgtFmt.h"

namespace travune {

class TgtFmtDASYLab : public TgtFmt {
 public:
  explicit TgtFmtDASYLab(SrcFmt* source);
  // Writes the text header, the global block and the channel records into the data file.
  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;

 private:
  void LoadCodeMaps();

  std::vector<CodeLine> codeMaps_;
};

}  // namespace travune
