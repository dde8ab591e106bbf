// Snap-Master writer: a key header of quoted keys with counted values at the start of the data
// file, then the raw float blocks; the second file only names the data file.
#pragma once

#include "writer/TgtFmtFloat32.h"

namespace travune {

class TgtFmtSnapMaster : public TgtFmtFloat32 {
 public:
  explicit TgtFmtSnapMaster(SrcFmt* source);
  // Writes the pointer text into the header file and the key header into the data file.
  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;

 private:
  bool WriteKeyHeader(platform::File* dataFile, int64_t totalScans, const platform::LocalTime& now);
};

}  // namespace travune
