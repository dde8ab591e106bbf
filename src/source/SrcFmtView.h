// A window onto another source: a range of its scans and a choice of its channels, seen as a
// source of its own, so that a writer announces and writes exactly the scans and channels
// chosen. Scan s of the view is scan s + first of the underlying source.
#pragma once

#include <cstdint>
#include <vector>

#include "source/SrcFmt.h"

namespace travune {

class SrcFmtView : public SrcFmt {
 public:
  // channels lists underlying channel numbers (each valid); the view's channel c is channels[c].
  SrcFmtView(SrcFmt& base, int64_t firstScan, int64_t numScans, std::vector<int32_t> channels);

  bool GetNativeScanTime(int64_t scan, double* out) override;
  int32_t GetNumChans() const override { return static_cast<int32_t>(channels_.size()); }
  int64_t GetNumScans() const override { return numScans_; }
  int64_t GetNumProgScans() const override { return numScans_; }
  int64_t GetScanSize() const override { return base_.GetScanSize(); }
  int32_t GetSampleSize() const override { return base_.GetSampleSize(); }
  bool GetChanRange(int32_t chan, double* lower, double* upper) const override;
  const char* GetChanLabel(int32_t chan) const override;
  const char* GetChanUnits(int32_t chan) const override;
  int32_t GetChanPrecision(int32_t chan) const override;
  double GetPreTrigRate() const override { return base_.GetPreTrigRate(); }
  double GetPostTrigRate() const override { return base_.GetPostTrigRate(); }
  // The trigger's index counted from the view's first scan: negative when the view starts
  // after the trigger, so that times computed from it stay the true times.
  int64_t GetPreTrigCount() const override { return base_.GetPreTrigCount() - first_; }
  bool HasUniformRate() const override { return base_.HasUniformRate(); }
  const char* GetAppTitle() const override { return base_.GetAppTitle(); }
  const char* GetDescVersion() const override { return base_.GetDescVersion(); }
  void GetBlockLayout(int64_t bufBytes, int64_t* scans, int64_t* bytes, int64_t firstScan,
                      int64_t* fileOffset) const override;
  void FitScansToBuffer(int64_t bufBytes, int64_t* scans, int64_t* bytes) const override;
  void SetRawBlock(uint8_t* buffer, int64_t scans, int64_t firstScan) override;
  void InitTimeFormat() override;
  const uint8_t* GetRawSample(int64_t scan, int32_t chan) const override;
  double ScaleSample(int32_t chan, const uint8_t* raw) const override;
  uint32_t UserToRaw(int32_t chan, double value) const override;
  bool CanUserToRaw(int32_t chan) const override;
  bool HasValidChannelRecords() const override { return base_.HasValidChannelRecords(); }
  void ScaleScans(int64_t firstScan, int64_t scans, double* out) const override;

 private:
  bool IsIdentity() const;
  int32_t Base(int32_t chan) const;

  SrcFmt& base_;
  int64_t first_;
  int64_t numScans_;
  std::vector<int32_t> channels_;
  mutable std::vector<double> row_;  // every underlying channel of the scans being picked from
};

}  // namespace travune
