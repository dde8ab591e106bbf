// The abstract target writer: the session creates it for a format, hands it the output files,
// lets it format each block of scans from the source and finishes it.
#pragma once

#include <cstdint>

#include "platform/Platform.h"
#include "source/SrcFmt.h"

namespace travune {

class TgtFmt {
 public:
  TgtFmt(const TgtFmt&) = delete;
  TgtFmt& operator=(const TgtFmt&) = delete;
  virtual ~TgtFmt();

  // Called once after the session created the writer's files. Writers that write into their
  // files themselves keep the pointers; the session closes the files after PostConvert.
  virtual bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                          int64_t totalScans);
  // Called once at close while the files are still open; false reports failure.
  virtual bool PostConvert();
  // Formats scans [firstScan, firstScan + scans) into out; returns the bytes the session is
  // to write to the data file (at most scans * OutputBytesPerScan()), negative for failure.
  virtual int64_t ConvertDataBlock(int64_t scans, uint8_t* out, int64_t firstScan);

  bool IsOk() const { return ok_; }
  bool WantsHeaderFile() const { return headerFile_; }
  int64_t OutputBytesPerScan() const { return outputBytesPerScan_; }
  // True once the writer has taken the data file over (closed it and writes it itself):
  // the session then neither writes to it nor closes it.
  bool TookDataFile() const { return tookDataFile_; }

 protected:
  explicit TgtFmt(SrcFmt* source) : source_(source) {}

  bool ok_ = false;
  SrcFmt* source_;
  bool headerFile_ = false;
  int64_t outputBytesPerScan_ = -1;
  bool tookDataFile_ = false;
};

}  // namespace travune
