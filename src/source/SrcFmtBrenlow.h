// Source for Brenlow data-logger acquisitions: a binary description of a 56-byte header and
// 112-byte channel records, raw data of 32-bit floats already in user units.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "source/BulkScaling.h"
#include "source/DescReader.h"
#include "source/SrcFmt.h"

namespace travune {

// True when the image, from the reader's start, has the size of a Brenlow description: a
// 56-byte header followed by whole 112-byte records. Leaves the reader at the image start.
bool IsBrenlowDescription(DescReader& reader);

class SrcFmtBrenlow : public SrcFmt {
 public:
  SrcFmtBrenlow(const uint8_t* image, size_t size);
  ~SrcFmtBrenlow() override;

  int64_t GetChanIndex(int32_t chan) const override;
  bool GetNativeScanTime(int64_t scan, double* out) override;
  int32_t GetNumChans() const override { return numUser_; }
  int64_t GetNumProgScans() const override;
  int64_t GetScanSize() const override { return 4 * static_cast<int64_t>(numRecords_); }
  int32_t GetSampleSize() const override { return 4; }
  bool GetChanRange(int32_t chan, double* lower, double* upper) const override;
  const char* GetChanLabel(int32_t chan) const override;
  const char* GetChanUnits(int32_t chan) const override;
  int32_t GetChanPrecision(int32_t chan) const override;
  double GetPreTrigRate() const override { return GetPostTrigRate(); }
  double GetPostTrigRate() const override;
  int64_t GetPreTrigCount() const override { return preTrigCount_; }
  bool HasUniformRate() const override;
  const char* GetAppTitle() const override;
  const char* GetDescVersion() const override;
  void InitTimeFormat() override;
  double ScaleSample(int32_t chan, const uint8_t* raw) const override;
  void ScaleScans(int64_t firstScan, int64_t scans, double* out) const override;

 private:
  // The interpreted fields of one 112-byte channel record.
  struct Record {
    char label[17] = {};
    char units[21] = {};
    int32_t type = 0;
    double lower = 0.0;
    double upper = 0.0;
  };

  bool Parse(const uint8_t* image, size_t size);
  void MapUserChannels();
  bool HasTimeStamp() const { return timeIndex_ >= 0; }
  // No usable scan rate: scan times come only from the time-stamp record.
  bool IsRateless() const { return !(scanRate_ > 0.0); }
  const Record* ChanRecord(int32_t chan) const;

  double version_ = 0.0;
  double scanRate_ = 0.0;
  int32_t numRecords_ = 0;
  int32_t preTrigCount_ = 0;
  int32_t progScans_ = 0;
  std::unique_ptr<Record[]> records_;
  int32_t numUser_ = 0;
  std::unique_ptr<int32_t[]> userToRecord_;
  // The user channels' ranges side by side, and the runs of them whose records are adjacent.
  std::vector<double> userLower_;
  std::vector<double> userUpper_;
  std::vector<AdjacentChannels> userRuns_;
  int32_t timeIndex_ = -1;
  mutable char versionText_[320] = {};
};

}  // namespace travune
