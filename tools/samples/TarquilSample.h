// The Tarquil sample: a 26-byte header and 38-byte channel records covering every flag bit,
// and 16-bit raw samples or 12-bit samples packed four to six bytes.
#pragma once

#include <string>
#include <vector>

#include "samples/SampleLayout.h"
#include "samples/Waveform.h"

namespace travune::samples {

struct TarquilChannel {
  uint32_t flags = 0;
  int32_t gain = 1;         // range word without bit 28
  float rangeFloat = 0.0f;  // range word with bit 28
  float userScale = 1.0f;
  float userOffset = 0.0f;
  float altOffset = 0.0f;
  std::string label;
  std::string units;
  Waveform wave;  // the value in the channel's units, encoded into the raw sample when written
};

class TarquilSample : public SampleLayout {
 public:
  static constexpr uint32_t kBipolar = 1u << 0;
  static constexpr uint32_t kExplicit = 1u << 1;
  static constexpr uint32_t kDigital = 1u << 2;
  static constexpr uint32_t kUnsigned = 1u << 3;
  static constexpr uint32_t kReciprocal = 1u << 5;
  static constexpr uint32_t kAlternate = 1u << 28;
  static constexpr float kPreTrigRate = 250.0f;
  static constexpr float kPostTrigRate = 1000.0f;
  static constexpr int kOwnChannels = 7;

  explicit TarquilSample(const SampleSpec& request);

  std::vector<uint8_t> Description() const override;
  int NumChannels() const override { return static_cast<int>(channels_.size()); }
  int64_t ScanBytes() const override { return 2 * static_cast<int64_t>(channels_.size()); }
  int64_t DataBytes() const override;
  void AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const override;
  double ScanTime(int64_t scan) const override;
  double PlainValue(int64_t scan, int chan) const override;
  double Tolerance(int chan) const override;

  const std::vector<TarquilChannel>& Channels() const { return channels_; }
  // The 16-bit word the reader sees for (scan, chan): the sample itself, or, packed, the
  // 12-bit sample (the top 12 bits of the sample's word) shifted left by 4.
  uint16_t Word(int64_t scan, int chan) const;

  // Packs four 12-bit samples into six bytes: s0 = b0 | (b1 & 0x0F) << 8,
  // s1 = b1 >> 4 | b2 << 4, s2 = b3 | (b4 & 0x0F) << 8, s3 = b4 >> 4 | b5 << 4.
  static void PackGroup(const uint16_t samples[4], uint8_t* out);

 private:
  uint16_t WordOf(const TarquilChannel& c, double value) const;

  std::vector<TarquilChannel> channels_;
};

}  // namespace travune::samples
