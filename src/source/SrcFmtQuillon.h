// Quillon acquisitions: a binary description of counted texts and fixed fields, raw data of
// 32-bit floats in user units, and scan times dated from the trigger.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "source/BulkScaling.h"
#include "source/DescReader.h"
#include "source/SrcFmt.h"

namespace travune {

// The signature and fixed header at the start of a description, as read.
struct QuillonHeader {
  std::string appName;
  uint32_t versionMajor = 0;
  uint32_t versionMinor = 0;
  uint32_t versionWord = 0;  // kept, not interpreted
  std::string fileKind;
  int16_t numChans = 0;
  uint32_t progScans = 0;
  int32_t preTrigCount = 0;
  uint32_t word = 0;  // kept, not interpreted
  double scanRate = 0.0;
  double triggerDate = 0.0;  // days since 30 December 1899
};

struct QuillonChannel {
  int32_t type = 0;
  float upper = 0.0f;
  float lower = 0.0f;
  uint32_t kept[6] = {};  // the record's unnamed words, in file order
  std::string label;
  std::string units;
};

// True when the image starts with the application name "Quillon", three version words and the
// file kind "DSC File" (both compared exactly) followed by a complete fixed header. The reader
// is left at the start of the image.
bool IsQuillonDescription(DescReader& reader);

class SrcFmtQuillon : public SrcFmt {
 public:
  SrcFmtQuillon(const uint8_t* image, size_t size);
  ~SrcFmtQuillon() override;

  bool GetNativeScanTime(int64_t scan, double* out) override;
  // The channels actually read (the header's count once a parse has succeeded).
  int32_t GetNumChans() const override { return static_cast<int32_t>(channels_.size()); }
  int64_t GetNumProgScans() const override { return header_.progScans; }
  int64_t GetScanSize() const override { return static_cast<int64_t>(GetSampleSize()) * GetNumChans(); }
  int32_t GetSampleSize() const override { return 4; }
  bool GetChanRange(int32_t chan, double* lower, double* upper) const override;
  const char* GetChanLabel(int32_t chan) const override;
  const char* GetChanUnits(int32_t chan) const override;
  int32_t GetChanPrecision(int32_t chan) const override;
  double GetPreTrigRate() const override { return header_.scanRate; }
  double GetPostTrigRate() const override { return header_.scanRate; }
  int64_t GetPreTrigCount() const override { return header_.preTrigCount; }
  bool HasUniformRate() const override { return true; }
  const char* GetAppTitle() const override { return header_.appName.c_str(); }
  const char* GetDescVersion() const override;
  void InitTimeFormat() override;
  double ScaleSample(int32_t chan, const uint8_t* raw) const override;
  void ScaleScans(int64_t firstScan, int64_t scans, double* out) const override;

 private:
  bool Parse(const uint8_t* image, size_t size);
  bool IsKnownChannel(int32_t chan) const { return chan >= 0 && static_cast<size_t>(chan) < channels_.size(); }

  QuillonHeader header_;
  std::vector<QuillonChannel> channels_;
  // The channels' ranges side by side and the one run of a whole scan, for scaling a block's
  // scans in one vectorised loop each.
  std::vector<double> lower_;
  std::vector<double> upper_;
  std::vector<AdjacentChannels> wholeScan_;
  mutable char versionText_[24] = {};
};

}  // namespace travune
