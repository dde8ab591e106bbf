// Tarquil acquisitions: a binary description of one 26-byte header and 38-byte channel records,
// raw data of 16-bit samples or of 12-bit samples packed four to six bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "source/BulkScaling.h"
#include "source/DescReader.h"
#include "source/SrcFmt.h"

namespace travune {

inline constexpr size_t kTarquilHeaderSize = 26;
inline constexpr size_t kTarquilChannelSize = 38;
// The description file ends with four bytes that are not read.
inline constexpr size_t kTarquilTrailerSize = 4;

// Channel flag bits.
inline constexpr uint32_t kTarquilBipolar = 1u << 0;
inline constexpr uint32_t kTarquilExplicitScale = 1u << 1;
inline constexpr uint32_t kTarquilDigital = 1u << 2;
inline constexpr uint32_t kTarquilUnsigned = 1u << 3;
inline constexpr uint32_t kTarquilReciprocal = 1u << 5;
inline constexpr uint32_t kTarquilAltLayout = 1u << 28;

struct TarquilHeader {
  uint16_t numChans = 0;
  uint32_t progScans = 0;
  uint32_t word6 = 0;  // kept, not interpreted
  float preTrigRate = 0.0f;
  float postTrigRate = 0.0f;
  int32_t preTrigCount = 0;
  uint32_t packed = 0;  // non-zero: 12-bit samples packed four to six bytes
};

struct TarquilChannel {
  uint32_t rangeWord = 0;  // an i32 gain, or a float with the alternate layout
  float userScale = 0.0f;
  float userOffset = 0.0f;
  uint32_t flags = 0;
  float altOffset = 0.0f;
  char label[10] = {};
  char units[10] = {};
};

// True when the image is 30 + 38 x numChans bytes long, numChans being its first word. The
// reader is left at the start of the image.
bool IsTarquilDescription(DescReader& reader);

// Expands groups of four 12-bit samples packed into six bytes, in place, into 16-bit words,
// handing the driver at most chunkGroups groups per call (its counts are 32-bit).
void UnpackTarquilGroups(uint8_t* block, int64_t groups, int64_t chunkGroups);

class SrcFmtTarquil : public SrcFmt {
 public:
  // From a description image.
  SrcFmtTarquil(const uint8_t* image, size_t size);
  // From a 26-byte header and its numChans 38-byte channel records in memory.
  SrcFmtTarquil(const uint8_t* header26, const uint8_t* channelRecords);
  // From a channel count and channel records in memory (no rates, no trigger, one scan).
  SrcFmtTarquil(int32_t numChans, const uint8_t* channelRecords);
  ~SrcFmtTarquil() override;

  bool GetNativeScanTime(int64_t scan, double* out) override;
  int32_t GetNumChans() const override { return header_.numChans; }
  int64_t GetNumScans() const override { return GetNumProgScans(); }
  int64_t GetNumProgScans() const override { return header_.progScans; }
  int64_t GetScanSize() const override { return 2 * static_cast<int64_t>(header_.numChans); }
  int32_t GetSampleSize() const override { return 2; }
  bool GetChanRange(int32_t chan, double* lower, double* upper) const override;
  const char* GetChanLabel(int32_t chan) const override;
  const char* GetChanUnits(int32_t chan) const override;
  int32_t GetChanPrecision(int32_t chan) const override;
  double GetPreTrigRate() const override;
  double GetPostTrigRate() const override;
  int64_t GetPreTrigCount() const override { return header_.preTrigCount; }
  bool HasUniformRate() const override;
  const char* GetAppTitle() const override { return "Tarquil"; }
  const char* GetDescVersion() const override { return ""; }
  void GetBlockLayout(int64_t bufBytes, int64_t* scans, int64_t* bytes, int64_t firstScan,
                      int64_t* fileOffset) const override;
  void FitScansToBuffer(int64_t bufBytes, int64_t* scans, int64_t* bytes) const override;
  void SetRawBlock(uint8_t* buffer, int64_t scans, int64_t firstScan) override;
  void InitTimeFormat() override;
  const uint8_t* GetRawSample(int64_t scan, int32_t chan) const override;
  double ScaleSample(int32_t chan, const uint8_t* raw) const override;
  void ScaleScans(int64_t firstScan, int64_t scans, double* out) const override;
  bool HasValidChannelRecords() const override;
  uint32_t UserToRaw(int32_t chan, double value) const override;
  bool CanUserToRaw(int32_t chan) const override;

  bool IsPacked() const { return header_.packed != 0; }
  // Samples between the start of the unpacked block and the first sample of its first scan.
  int64_t Skew() const { return skew_; }

 private:
  // user = x * m + b; a reciprocal channel then inverts and applies recipScale, recipOffset.
  struct Scaling {
    double m = 1.0;
    double b = 0.0;
    double recipScale = 1.0;
    double recipOffset = 0.0;
    bool unsignedRaw = false;
    bool digital = false;
    bool reciprocal = false;
  };

  bool Parse(const uint8_t* image, size_t size);
  bool CopyRecords(const uint8_t* header26, const uint8_t* channelRecords);
  bool Finish();
  void ParseOrFail(bool parsed);
  bool IsKnownChannel(int32_t chan) const { return chan >= 0 && static_cast<size_t>(chan) < channels_.size(); }
  bool HasNoRates() const { return header_.preTrigRate == 0.0f && header_.postTrigRate == 0.0f; }
  void GetInputRange(const TarquilChannel& c, double* lower, double* upper) const;
  Scaling ComputeScaling(int32_t chan) const;
  static double ScaleWord(const Scaling& s, const uint8_t* raw);

  TarquilHeader header_;
  std::vector<TarquilChannel> channels_;
  std::vector<Scaling> scaling_;
  // A block's scans are scaled whole by every channel's factors in a loop the compiler
  // vectorises; the channels that take a reciprocal or a floor are then scaled again one by one.
  WordFactors wordFactors_;
  std::vector<AdjacentChannels> wholeScan_;
  std::vector<int32_t> beyondFactors_;
  int64_t skew_ = 0;
};

}  // namespace travune
