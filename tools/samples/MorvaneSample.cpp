// The Morvane sample's channel table, description image and raw words.
//
// Channels (gain, scale, offset, polarity; raw code waveform):
//   0  type 0  "Sine"   ±5 V bipolar, gain 1          sine, period 100, codes 2768..62768
//   1  type 3  "CJC"    reference in °F (scale 1.8, offset 32), bipolar
//                                                     sine, period 400, codes 40700..40820 (≈25 °C)
//   2  type 1  "TC-K"   K thermocouple, gain 100, cold junction from channel 1
//                                                     ramp, period 500, codes 33300..40000
//   3  type 2  "RTD"    Pt100, four words             ramp, period 500, 100.00..138.50 ohm
//   4  type 4  "Ref4"   bipolar                       sine, period 250, codes 10000..50000
//   5  type 5  "Ref5"   unipolar                      ramp, period 1000, codes 0..65535
//   6  type 6  "Aux6"   scale 0.5, offset 10          square, period 200, codes 3000 / 1000
//   7  type 7  "Ramp"   ±5 V (span 20, bipolar, gain 2) ramp, period 256, codes 0..65535
//   8  type 8  "Dig8"   8-bit digital input           counter modulo 256
//   9  type 9  "Count"  16-bit counter                counter modulo 65536
//  10  type 10 ""       high-speed digital (device code 272, reads "HSDI"), scale 2, offset −1
//                                                     square, period 100, codes 65535 / 0
//  11  type 11 "Volt11" gain 4, scale 2.5, offset 0.25 sine, period 300, codes 5000..60000
//  12  type 12 "Aux12"  scale 3                       ramp, period 4096, codes 0..4095
//  13  type 13 "TC-J"   J thermocouple, gain 100, cold junction 0 °C
//                                                     sine, period 600, codes 33000..39000
//  14  type 14 "TC-T"   T thermocouple in °F, gain 100 ramp, period 700, codes 32768..38000
//  15+ type 0  "SineN"  as channel 0                  sine, period 100 + 10·(N − 14)
// Raw scan: the one-word channels in channel order, then the RTD's four words; firstChannel 2
// exchanges the places of channels 0 and 1, so word 0 holds channel 1 and word 1 channel 0.
#include "samples/MorvaneSample.h"

#include <algorithm>
#include <cmath>

#include "samples/ByteBuilder.h"
#include "samples/SignalTable.h"

namespace travune::samples {
namespace {

using Shape = Waveform::Shape;

MorvaneChannel Channel(int32_t type, const char* label, const char* units, float gain, float scale, float offset,
                       int32_t polarity, Waveform wave) {
  MorvaneChannel c;
  c.type = type;
  c.label = label;
  c.units = units;
  c.gain = gain;
  c.scale = scale;
  c.offset = offset;
  c.polarity = polarity;
  c.wave = wave;
  return c;
}

std::vector<MorvaneChannel> OwnChannels() {
  std::vector<MorvaneChannel> c;
  c.push_back(Channel(0, "Sine", "V", 1, 1, 0, 1, {Shape::Sine, 100, 2768, 62768}));
  c.push_back(Channel(3, "CJC", "degF", 1, 1.8f, 32, 1, {Shape::Sine, 400, 40700, 40820}));
  c.push_back(Channel(1, "TC-K", "degC", 100, 1, 0, 2, {Shape::Ramp, 500, 33300, 40000}));
  c.push_back(Channel(2, "RTD", "degC", 1, 1, 0, 0, {Shape::Ramp, 500, 100.0, 138.5}));
  c.push_back(Channel(4, "Ref4", "V", 1, 1, 0, 1, {Shape::Sine, 250, 10000, 50000}));
  c.push_back(Channel(5, "Ref5", "V", 1, 1, 0, 0, {Shape::Ramp, 1000, 0, 65535}));
  c.push_back(Channel(6, "Aux6", "cnt", 1, 0.5f, 10, 0, {Shape::Square, 200, 1000, 3000}));
  c.push_back(Channel(7, "Ramp", "V", 2, 1, 0, 1, {Shape::Ramp, 256, 0, 65535}));
  c.push_back(Channel(8, "Dig8", "", 1, 1, 0, 0, {Shape::Counter, 256, 0, 255}));
  c.push_back(Channel(9, "Count", "cnt", 1, 1, 0, 0, {Shape::Counter, 65536, 0, 65535}));
  c.push_back(Channel(10, "", "cnt", 1, 2, -1, 0, {Shape::Square, 100, 0, 65535}));
  c.back().deviceCode = 272;
  c.push_back(Channel(11, "Volt11", "V", 4, 2.5f, 0.25f, 0, {Shape::Sine, 300, 5000, 60000}));
  c.push_back(Channel(12, "Aux12", "", 1, 3, 0, 0, {Shape::Ramp, 4096, 0, 4095}));
  c.push_back(Channel(13, "TC-J", "degC", 100, 1, 0, 1, {Shape::Sine, 600, 33000, 39000}));
  c.push_back(Channel(14, "TC-T", "degF", 100, 1.8f, 32, 3, {Shape::Ramp, 700, 32768, 38000}));
  return c;
}

bool IsReferenceType(int32_t type) { return type == 3 || type == 4 || type == 5 || type == 13 || type == 14; }

uint16_t CodeOf(double value) { return static_cast<uint16_t>(std::lround(value)); }

}  // namespace

MorvaneSample::MorvaneSample(const SampleSpec& request) : SampleLayout(request), channels_(OwnChannels()) {
  for (int n = kOwnChannels; n < request.chans; ++n) {
    const std::string label = "Sine" + std::to_string(n);
    const int64_t period = 100 + 10 * (n - kOwnChannels + 1);
    channels_.push_back(Channel(0, label.c_str(), "V", 1, 1, 0, 1, {Shape::Sine, period, 2768, 62768}));
  }
  PlaceWords();
}

void MorvaneSample::PlaceWords() {
  const int count = NumChannels();
  const int wide = static_cast<int>(
      std::count_if(channels_.begin(), channels_.end(), [](const MorvaneChannel& c) { return c.type == 2; }));
  int oneWord = 0;
  int wideSeen = 0;
  for (const MorvaneChannel& c : channels_) {
    wordIndex_.push_back(c.type == 2 ? (count - wide) + 4 * wideSeen++ : oneWord++);
  }
  std::swap(wordIndex_[0], wordIndex_[kFirstChannel - 1]);
  wordsPerScan_ = (count - wide) + 4 * wide;
}

std::vector<uint8_t> MorvaneSample::Description() const {
  ByteBuilder b;
  b.I32(5040);
  b.I32(NumChannels());
  b.U32(static_cast<uint32_t>(Request().scans));
  b.U32(static_cast<uint32_t>(Request().preTrig));
  b.I32(0);
  b.I32(0);
  b.I32(kFirstChannel);
  b.F32(kScanRate);
  for (const MorvaneChannel& c : channels_) {
    b.F32(c.gain);
    b.I32(0);
    b.I32(c.type);
    b.I32(0);
    b.F32(c.scale);
    b.F32(c.offset);
    b.I32(c.polarity);
    b.I32(c.deviceCode);
    b.FixedText(c.label, 12);
    b.FixedText(c.units, 12);
  }
  return b.Take();
}

std::array<uint16_t, 4> MorvaneSample::RtdWordsForOhms(double ohms) {
  const uint16_t senseHigh = static_cast<uint16_t>(kRtdSenseLow + std::lround(ohms * 100.0));
  return {senseHigh, kRtdSenseLow, kRtdRefHigh, kRtdRefLow};
}

uint16_t MorvaneSample::Code(int64_t scan, int chan) const {
  return CodeOf(channels_[static_cast<size_t>(chan)].wave.At(scan));
}

std::array<uint16_t, 4> MorvaneSample::RtdWords(int64_t scan, int chan) const {
  return RtdWordsForOhms(channels_[static_cast<size_t>(chan)].wave.At(scan));
}

int MorvaneSample::ReferenceChannelBefore(int chan) const {
  for (int c = chan - 1; c >= 0; --c) {
    if (IsReferenceType(channels_[static_cast<size_t>(c)].type)) return c;
  }
  return -1;
}

void MorvaneSample::AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const {
  std::vector<SignalTable> tables;
  for (const MorvaneChannel& c : channels_) tables.emplace_back(c.wave);
  uint8_t* p = Grow(out, count * ScanBytes());
  for (int64_t scan = first; scan < first + count; ++scan, p += ScanBytes()) {
    for (size_t c = 0; c < channels_.size(); ++c) {
      uint8_t* word = p + 2 * wordIndex_[c];
      if (channels_[c].type == 2) {
        const std::array<uint16_t, 4> words = RtdWordsForOhms(tables[c].At(scan));
        for (int i = 0; i < 4; ++i) StoreU16(word + 2 * i, words[static_cast<size_t>(i)]);
      } else {
        StoreU16(word, CodeOf(tables[c].At(scan)));
      }
    }
  }
}

double MorvaneSample::ScanTime(int64_t scan) const {
  return SecondsToDays(static_cast<double>(scan - Request().preTrig) / static_cast<double>(kScanRate));
}

}  // namespace travune::samples
