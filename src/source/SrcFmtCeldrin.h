// Source for Celdrin chart-recorder acquisitions: a keyword text description and raw data of
// interleaved 16-bit samples, optionally led by a 10-byte clock stamp in every scan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "source/BulkScaling.h"
#include "source/KeywordDesc.h"
#include "source/SrcFmt.h"
#include "support/String.h"

namespace travune {

class SrcFmtCeldrin : public SrcFmt {
 public:
  SrcFmtCeldrin(const uint8_t* image, size_t size, const char* listSeparator, int64_t dataFileSize);
  ~SrcFmtCeldrin() override;

  bool GetNativeScanTime(int64_t scan, double* out) override;
  int32_t GetNumChans() const override { return header_.numChans; }
  int64_t GetNumProgScans() const override;
  int64_t GetScanSize() const override { return samplesPerScan_ * 2; }
  int32_t GetSampleSize() const override { return 2; }
  bool GetChanRange(int32_t chan, double* lower, double* upper) const override;
  const char* GetChanLabel(int32_t chan) const override;
  const char* GetChanUnits(int32_t chan) const override;
  int32_t GetChanPrecision(int32_t chan) const override;
  double GetPreTrigRate() const override;
  double GetPostTrigRate() const override;
  int64_t GetPreTrigCount() const override { return header_.preTrigCount; }
  bool HasUniformRate() const override { return GetPreTrigRate() == GetPostTrigRate(); }
  const char* GetAppTitle() const override { return "Celdrin"; }
  const char* GetDescVersion() const override { return header_.version.c_str(); }
  void InitTimeFormat() override;
  const uint8_t* GetRawSample(int64_t scan, int32_t chan) const override;
  double ScaleSample(int32_t chan, const uint8_t* raw) const override;
  void ScaleScans(int64_t firstScan, int64_t scans, double* out) const override;

 private:
  // Per-channel scale factors: user = raw * m + b, raw unsigned for a digital channel; the raw
  // sample lies rawOffset bytes into the scan.
  struct Scaling {
    double m = 1.0;
    double b = 0.0;
    double wrap = 0.0;  // 65536 for a digital channel, whose words are unsigned
    int64_t rawOffset = 0;
  };

  bool Parse(const uint8_t* image, size_t size);
  bool ParseChannels(DescReader& reader);
  bool CheckPositions();
  void BuildScaling();
  static double ScaleWord(const Scaling& scaling, const uint8_t* raw);
  bool IsChannel(int32_t chan) const { return chan >= 0 && chan < header_.numChans; }
  // The gain and temperature factors of a channel: user = raw * mc + bc.
  void ChannelFactors(const KeywordChannel& channel, double* mc, double* bc) const;
  bool HasClockStamps() const;
  double ClockStampTime(int64_t scan) const;
  double RateBasedTime(int64_t scan) const;

  KeywordHeader header_;
  std::vector<KeywordChannel> channels_;
  std::vector<Scaling> scaling_;
  // Every channel's factors side by side, and the runs of channels whose words are adjacent.
  WordFactors wordFactors_;
  std::vector<AdjacentChannels> wordRuns_;
  String listSeparator_;
  int64_t dataBytes_ = 0;
  int64_t samplesPerScan_ = 0;
};

}  // namespace travune
