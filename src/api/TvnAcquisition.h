// An acquisition behind a handle of the handle API: its own files, source and read buffer,
// guarded by its own lock, so that handles are independent of each other and of the
// process-wide conversion session.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "source/Acquisition.h"

namespace travune {

class TvnAcquisition {
 public:
  // Opens descName with its data file (dataName, or the one beside the description) as
  // sourceType (0: guessed). Returns a tvnStatus.
  int32_t Open(const char* descName, const char* dataName, int32_t sourceType);

  int32_t SourceType() const { return sourceType_; }
  SrcFmt& Source() { return *acquisition_.Source(); }
  Acquisition& Files() { return acquisition_; }
  std::mutex& Lock() { return lock_; }

  // Scaled values of count scans from first for the channels (every channel when empty), scan
  // after scan, through the same scaling as a conversion. False when the data cannot be read.
  template <class Value>
  bool Read(int64_t first, int64_t count, const std::vector<int32_t>& chans, Value* out);
  // Native scan times of count scans from first, reading blocks where stamps live in the data.
  bool ScanTimes(int64_t first, int64_t count, const TimeFormat* request, double* out);

 private:
  bool ReadBlock(int64_t first, int64_t* scans);

  Acquisition acquisition_;
  int32_t sourceType_ = 0;
  std::mutex lock_;
  std::vector<uint8_t> raw_;
  std::vector<double> scaled_;
};

// The data file beside a description: its base name with the source type's data extension
// (.bin, or .hxt for Celdrin) in any case; the lower-case name when none exists.
std::string FindDataFileFor(const char* descName, int32_t sourceType);

}  // namespace travune
