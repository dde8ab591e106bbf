// The Brenlow sample (also written for Vexmoor and Threnix, which share the layout): a 56-byte
// header, 112-byte records and 32-bit float scans in user units, optionally with a time-stamp
// record of three floats per scan.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "samples/SampleLayout.h"
#include "samples/Waveform.h"

namespace travune::samples {

struct BrenlowRecord {
  int32_t type = 0;  // 6: time stamp
  double lower = 0.0;
  double upper = 0.0;
  std::string label;
  std::string units;
  Waveform wave;  // the float written (records of type 6 carry the stamp instead)
};

class BrenlowSample : public SampleLayout {
 public:
  static constexpr double kScanRate = 128.0;
  static constexpr double kVersion = 2.5;
  static constexpr int kOwnChannels = 5;

  explicit BrenlowSample(const SampleSpec& request);

  std::vector<uint8_t> Description() const override;
  int NumChannels() const override { return numUser_; }
  int64_t ScanBytes() const override { return 4 * static_cast<int64_t>(records_.size()); }
  void AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const override;
  // Relative days without stamps; with stamps the Automation date of the stamp (scan 0 at
  // 15 March 2024, 12:00:00, then 1/128 s per scan).
  double ScanTime(int64_t scan) const override;
  // The float written, clamped to the record's range as every reading shows it; exact.
  double PlainValue(int64_t scan, int chan) const override;
  double Tolerance(int) const override { return 0.0; }

  const std::vector<BrenlowRecord>& Records() const { return records_; }
  // The float written for user channel chan (record chan) at scan.
  float Value(int64_t scan, int chan) const;
  // The three stamp floats of scan: f0 = low 16 bits of the seconds since 1 January 1997,
  // f1 = high 16 bits, f2 = 256ths of a second.
  std::array<float, 3> Stamp(int64_t scan) const;

 private:
  std::vector<BrenlowRecord> records_;
  int numUser_ = 0;
};

}  // namespace travune::samples
