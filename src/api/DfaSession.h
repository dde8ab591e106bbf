// One open acquisition of the Data File Access interface: its description and data files held
// open, the source built from them, a raw block buffer, and the status of the last query or read.
#pragma once

#include <cstdint>
#include <string>

#include "api/FloatScaler.h"
#include "source/Acquisition.h"
#include "travune/travune.h"

namespace travune {

class DfaSession {
 public:
  // The raw block buffer: one block read brings in at most this many bytes.
  static constexpr int64_t kRawBlockBytes = 65536;

  // Opens the acquisition whose description is descName as sdtType (a dfaSourceDataT).
  // OpenStatus says whether the session is usable; one that is not holds no file.
  DfaSession(const char* descName, int32_t sdtType);
  DfaSession(const DfaSession&) = delete;
  DfaSession& operator=(const DfaSession&) = delete;

  // errNoError, or the dfaErrorT that made the open fail.
  int32_t OpenStatus() const { return openStatus_; }
  // The dfaSourceDataT opened: the caller's, or the detected one for sdUnknown.
  int32_t SourceDataType() const { return sourceDataType_; }
  int32_t LastError() const { return lastError_; }
  void ClearLastError() { lastError_ = errNoError; }
  void SetLastError(int32_t code) { lastError_ = code; }
  // The source of a usable session.
  const SrcFmt& Source() const { return *acquisition_.Source(); }

  // Scaled values of wanted scans from first (fewer when the data ends before) into out: every
  // channel (csAllChans) or one. out must be writable for wanted scans. *count (count may be
  // null) becomes the scans delivered. False with the code in LastError on failure.
  bool ReadScaledScans(float* out, uint32_t first, uint32_t wanted, uint32_t* count, int32_t chan);
  // The time of scan as a date in days (absolute) or in seconds from the source's reference
  // scan. False, with LastError errInvalidOption, when the source has no such time.
  bool QueryScanTime(int32_t scan, double* out, bool absolute);

 private:
  int32_t Open(const char* descName, int32_t sdtType);
  int32_t OpenDescription(platform::File desc, const char* extension, int32_t sdtType);
  // Scans from first to the end of the data, counted in 32 bits as callers count them.
  uint32_t ScansFrom(uint32_t first) const;
  // The scans of a block of at most wanted scans that fit the raw block buffer.
  uint32_t BlockScans(uint32_t wanted) const;
  // Reads the block of at most scans scans from first into the raw block buffer and hands it to
  // the source; *read becomes its scans. False with LastError set on failure.
  bool ReadRawBlock(uint32_t first, uint32_t scans, uint32_t* read);
  // Makes the block that holds scan the source's current block (stamps are read from it).
  bool MakeScanCurrent(uint32_t scan);
  // Has the source cache the trigger scan's time once, as relative times are measured from it.
  void PrimeTriggerTime(const TimeFormat& request);
  bool Fail(int32_t code);

  std::string descName_;
  std::string dataName_;
  Acquisition acquisition_;
  FloatScaler scaler_;
  int32_t openStatus_ = errNoError;
  int32_t sourceDataType_;
  int32_t lastError_ = errNoError;
  bool triggerTimePrimed_ = false;
  char listSeparator_[4] = ",";
  alignas(16) uint8_t rawBlock_[kRawBlockBytes];
};

}  // namespace travune
