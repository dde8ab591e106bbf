// Morvane acquisitions: a binary description (three historical forms) and raw data of unsigned
// 16-bit words, with voltage, digital, counter, reference and driver-converted temperature channels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "source/DescReader.h"
#include "source/SrcFmt.h"
#include "source/ThermocoupleCodeCache.h"

namespace travune {

inline constexpr int32_t kMorvaneVersion = 5040;
inline constexpr size_t kMorvaneHeaderSize = 32;   // current form
inline constexpr size_t kMorvaneChannelSize = 56;  // current form
inline constexpr int32_t kMorvaneHighSpeedDigital = 272;

// The description header in its current form.
struct MorvaneHeader {
  int32_t version = 0;
  int32_t numChans = 0;
  uint32_t progScans = 0;
  uint32_t preTrigCount = 0;
  int32_t word4 = 0;
  int32_t word5 = 0;
  int32_t firstChannel = 0;  // 1-based channel whose word comes first in each raw scan
  float scanRate = 0.0f;
};

// One channel record in its current form.
struct MorvaneChannel {
  float gain = 0.0f;
  int32_t word1 = 0;
  int32_t type = 0;
  int32_t word3 = 0;
  float scale = 0.0f;
  float offset = 0.0f;
  int32_t polarity = 0;
  int32_t deviceCode = 0;
  char label[13] = {};
  char units[13] = {};
};

// True when the image holds a Morvane description of one of the three forms with exactly the
// size its channel count asks for. The reader is left at the start of the image.
bool IsMorvaneDescription(DescReader& reader);

class SrcFmtMorvane : public SrcFmt {
 public:
  // From a description image.
  SrcFmtMorvane(const uint8_t* image, size_t size);
  // From a 32-byte current-form header and its numChans 56-byte channel records in memory.
  SrcFmtMorvane(const uint8_t* header, const uint8_t* channelRecords);
  // From a channel count and channel records in memory (no rates, no trigger, one scan).
  SrcFmtMorvane(int32_t numChans, const uint8_t* channelRecords);
  ~SrcFmtMorvane() override;

  bool GetNativeScanTime(int64_t scan, double* out) override;
  int32_t GetNumChans() const override { return header_.numChans; }
  int64_t GetNumProgScans() const override { return header_.progScans; }
  int64_t GetScanSize() const override { return scanSize_; }
  int32_t GetSampleSize() const override { return 2; }
  bool GetChanRange(int32_t chan, double* lower, double* upper) const override;
  const char* GetChanLabel(int32_t chan) const override;
  const char* GetChanUnits(int32_t chan) const override;
  int32_t GetChanPrecision(int32_t chan) const override;
  double GetPreTrigRate() const override { return header_.scanRate; }
  double GetPostTrigRate() const override { return header_.scanRate; }
  int64_t GetPreTrigCount() const override { return header_.preTrigCount; }
  bool HasUniformRate() const override { return true; }
  const char* GetAppTitle() const override { return "Morvane"; }
  const char* GetDescVersion() const override;
  const uint8_t* GetRawSample(int64_t scan, int32_t chan) const override;
  double ScaleSample(int32_t chan, const uint8_t* raw) const override;
  void ScaleScans(int64_t firstScan, int64_t scans, double* out) const override;
  bool HasValidChannelRecords() const override;

  int32_t HeaderForm() const { return headerForm_; }
  const MorvaneHeader& Header() const { return header_; }
  int64_t RawIndex(int32_t chan) const { return rawIndex_[static_cast<size_t>(chan)]; }

 private:
  struct Scaling {
    double m;
    double b;
  };

  bool Parse(const uint8_t* image, size_t size);
  bool Finish();
  void BuildRawIndex();
  void BuildThermocoupleCodeCaches();
  Scaling ComputeScaling(const MorvaneChannel& channel, int32_t chan) const;
  bool IsKnownChannel(int32_t chan) const;
  double ScaleKnown(size_t chan, const uint8_t* raw) const;
  void FinishOrFail();

  MorvaneHeader header_;
  std::vector<MorvaneChannel> channels_;
  int32_t wideCount_ = 0;
  std::vector<int64_t> rawIndex_;
  std::vector<Scaling> scaling_;
  int32_t headerForm_ = 0;
  int64_t scanSize_ = -1;
  mutable char versionText_[16] = {};
  // The reference word scaled most recently: thermocouple pairs compensate with it. It belongs
  // to this source alone, so two acquisitions never change each other's temperatures.
  mutable uint16_t lastReferenceWord_ = 0;
  // Driver results by code of each single-word thermocouple channel (null for the others).
  mutable std::vector<std::unique_ptr<ThermocoupleCodeCache>> codeCaches_;
};

}  // namespace travune
