// The Morvane sample: a current-form (5040) description with one channel of every type 0..14
// and 16-bit raw words, a four-word RTD channel and the first-channel exchange included.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "samples/SampleLayout.h"
#include "samples/Waveform.h"

namespace travune::samples {

struct MorvaneChannel {
  int32_t type = 0;
  float gain = 1.0f;
  float scale = 1.0f;
  float offset = 0.0f;
  int32_t polarity = 0;  // non-zero: bipolar; low byte: thermocouple kind (1 J, 2 K, 3 T)
  int32_t deviceCode = 0;
  std::string label;
  std::string units;
  Waveform wave;  // the value in the channel's units, encoded into raw words when written
};

class MorvaneSample : public SampleLayout {
 public:
  static constexpr int32_t kFirstChannel = 2;  // channels 0 and 1 exchange raw places
  static constexpr float kScanRate = 1000.0f;
  static constexpr int kOwnChannels = 15;

  explicit MorvaneSample(const SampleSpec& request);

  std::vector<uint8_t> Description() const override;
  int NumChannels() const override { return static_cast<int>(channels_.size()); }
  int64_t ScanBytes() const override { return 2 * static_cast<int64_t>(wordsPerScan_); }
  void AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const override;
  double ScanTime(int64_t scan) const override;
  double PlainValue(int64_t scan, int chan) const override;
  double Tolerance(int chan) const override;

  const std::vector<MorvaneChannel>& Channels() const { return channels_; }
  // The raw word of a one-word channel at scan.
  uint16_t Code(int64_t scan, int chan) const;
  // The four words sHi, sLo, rHi, rLo of an RTD channel at scan.
  std::array<uint16_t, 4> RtdWords(int64_t scan, int chan) const;
  // The nearest channel before chan whose word becomes the cold-junction reference (types
  // 3, 4, 5, 13, 14), or -1.
  int ReferenceChannelBefore(int chan) const;

 private:
  // The cold junction's code a type-1 thermocouple is read with at scan; none for the others.
  std::optional<uint16_t> JunctionCode(int64_t scan, int chan) const;
  // Scans after which a channel's raw words repeat.
  int64_t WordPeriod(int chan) const;
  void PlaceWords();

  std::vector<MorvaneChannel> channels_;
  std::vector<int> wordIndex_;
  int wordsPerScan_ = 0;
};

}  // namespace travune::samples
