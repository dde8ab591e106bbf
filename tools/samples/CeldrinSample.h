// The Celdrin sample: a keyword description (.HX$, list separator ",") and interleaved signed
// 16-bit samples (.hxt), optionally led by a 10-byte clock stamp in every scan.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "samples/SampleLayout.h"
#include "samples/Waveform.h"

namespace travune::samples {

struct CeldrinChannel {
  float countsPerUnit = 1.0f;
  float gain = 1.0f;
  float offset = 0.0f;
  std::string label;
  std::string kind;  // "DIGITAL", a temperature unit "Deg C/F/K/R", or anything else: analog
  std::string units;
  Waveform wave;  // the value in the channel's units, encoded into the raw word when written
};

class CeldrinSample : public SampleLayout {
 public:
  static constexpr double kPreTrigRate = 100.0;
  static constexpr double kPostTrigRate = 1000.0;
  static constexpr int kOwnChannels = 6;
  static constexpr int kStampWords = 5;

  explicit CeldrinSample(const SampleSpec& request);

  std::vector<uint8_t> Description() const override;
  int NumChannels() const override { return static_cast<int>(channels_.size()); }
  int64_t ScanBytes() const override { return 2 * static_cast<int64_t>(FirstPosition() + NumChannels()); }
  void AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const override;
  // Relative days without stamps; with stamps the Automation date of the clock stamp.
  double ScanTime(int64_t scan) const override;
  double PlainValue(int64_t scan, int chan) const override;
  double Tolerance(int chan) const override;

  const std::vector<CeldrinChannel>& Channels() const { return channels_; }
  int FirstPosition() const { return Request().stamps ? kStampWords : 0; }
  // Scans at the end of the data file that run at the pre-trigger rate again.
  int64_t PostStopCount() const;
  // The raw word of chan at scan.
  uint16_t Word(int64_t scan, int chan) const;
  // The scan's time relative to the trigger scan in microseconds: pre-trigger and post-stop
  // scans 10000 µs apart (100 scans/s), the scans between 1000 µs apart (1000 scans/s).
  int64_t RelativeMicroseconds(int64_t scan) const;
  // The 10-byte clock stamp of scan; the trigger scan is at 15 March 2024, 12:00:00.
  std::array<uint8_t, 10> Stamp(int64_t scan) const;

 private:
  std::vector<CeldrinChannel> channels_;
};

}  // namespace travune::samples
