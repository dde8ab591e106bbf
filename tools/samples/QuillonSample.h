// The Quillon sample: a description of counted texts and fixed fields with an absolute trigger
// date, and 32-bit float scans in user units.
#pragma once

#include <string>
#include <vector>

#include "samples/SampleLayout.h"
#include "samples/Waveform.h"

namespace travune::samples {

struct QuillonChannel {
  uint32_t type = 0;
  float upperWritten = 0.0f;  // as written; one channel gives them in the wrong order
  float lowerWritten = 0.0f;
  std::string label;
  std::string units;
  Waveform wave;
};

class QuillonSample : public SampleLayout {
 public:
  static constexpr double kScanRate = 200.0;
  static constexpr int kOwnChannels = 4;

  explicit QuillonSample(const SampleSpec& request);

  // The trigger date: 15 March 2024, 12:00:00, as an Automation date (45366.5).
  static double TriggerDate();

  std::vector<uint8_t> Description() const override;
  int NumChannels() const override { return static_cast<int>(channels_.size()); }
  int64_t ScanBytes() const override { return 4 * static_cast<int64_t>(channels_.size()); }
  void AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const override;
  double ScanTime(int64_t scan) const override;
  // The float written, clamped to the channel's range (its ends in either order); exact.
  double PlainValue(int64_t scan, int chan) const override;
  double Tolerance(int) const override { return 0.0; }

  const std::vector<QuillonChannel>& Channels() const { return channels_; }
  float Value(int64_t scan, int chan) const;

 private:
  std::vector<QuillonChannel> channels_;
};

}  // namespace travune::samples
