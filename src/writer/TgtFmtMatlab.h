// MATLAB writer: the acquisition as one double matrix "A" (a row per scan, a column per channel)
// in a Level 4 MAT-file, plus a short text file saying so.
#pragma once

#include <cstdint>

#include "writer/TgtFmt.h"

namespace travune {

class TgtFmtMatlab : public TgtFmt {
 public:
  explicit TgtFmtMatlab(SrcFmt* source);
  // Writes the text file and the matrix header, and gives the data file the matrix's full size.
  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;
  // Writes the block's rows into every column itself, wherever the block lies, and returns 0;
  // -1 when a write fails or the rows lie outside the matrix.
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;

 private:
  platform::File* dataFile_ = nullptr;  // null until PreConvert succeeded
  int64_t totalScans_ = 0;
};

}  // namespace travune
