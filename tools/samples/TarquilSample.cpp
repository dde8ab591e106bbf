// The Tarquil sample's channel table, description image and raw samples.
//
// Header: pre-trigger rate 250 scans/s, post-trigger rate 1000 scans/s, pre-trigger count
// as requested, packed = 1 with --packed. Channels (flags; range word; user scale/offset):
//   0 "Bipolar"  bipolar; gain 1 (±5 V)                 sine, period 100, codes −30000..30000
//   1 "Unipolar" unipolar; gain 2; ×2.5 − 1             ramp, period 512, codes −32768..32767
//   2 "Factor"   explicit + alternate: factor 0.0005, offset 2.0
//                                                       square, period 100, codes 20000 / −20000
//   3 "Digital"  digital, unsigned, explicit + alternate: factor 0.5 (floor(code / 2))
//                                                       counter modulo 65536
//   4 "Unsigned" bipolar, unsigned; gain 1 (0..10 V)    ramp, period 1000, codes 0..65535
//   5 "Freq"     reciprocal, unsigned, explicit + alternate: factor 0.0001 (Hz = 1 / (code·0.0001))
//                                                       ramp, period 200, codes 1000..11000
//   6 "AltGain"  bipolar, alternate: float gain 4.0      sine, period 150, codes −32000..32000
//   7+ "SineN"   as channel 0                           sine, period 100 + 10·(N − 6)
// Packed, each 16-bit code keeps its top 12 bits: the sample is code >> 4 and the reader sees
// (code >> 4) << 4. The samples of all scans form one stream, four samples to six bytes; the
// last group is padded with zero samples.
#include "samples/TarquilSample.h"

#include <algorithm>
#include <cmath>

#include "samples/ByteBuilder.h"
#include "samples/SignalTable.h"

namespace travune::samples {
namespace {

using Shape = Waveform::Shape;

TarquilChannel Channel(const char* label, const char* units, uint32_t flags, Waveform wave) {
  TarquilChannel c;
  c.label = label;
  c.units = units;
  c.flags = flags;
  c.wave = wave;
  return c;
}

std::vector<TarquilChannel> OwnChannels() {
  using T = TarquilSample;
  std::vector<TarquilChannel> c;
  c.push_back(Channel("Bipolar", "V", T::kBipolar, {Shape::Sine, 100, -30000, 30000}));
  c.push_back(Channel("Unipolar", "mA", 0, {Shape::Ramp, 512, -32768, 32767}));
  c.back().gain = 2;
  c.back().userScale = 2.5f;
  c.back().userOffset = -1.0f;
  c.push_back(Channel("Factor", "bar", T::kExplicit | T::kAlternate, {Shape::Square, 100, -20000, 20000}));
  c.back().rangeFloat = 0.0005f;
  c.back().altOffset = 2.0f;
  c.push_back(Channel("Digital", "", T::kDigital | T::kUnsigned | T::kExplicit | T::kAlternate,
                      {Shape::Counter, 65536, 0, 65535}));
  c.back().rangeFloat = 0.5f;
  c.push_back(Channel("Unsigned", "V", T::kBipolar | T::kUnsigned, {Shape::Ramp, 1000, 0, 65535}));
  c.push_back(Channel("Freq", "Hz", T::kReciprocal | T::kUnsigned | T::kExplicit | T::kAlternate,
                      {Shape::Ramp, 200, 1000, 11000}));
  c.back().rangeFloat = 0.0001f;
  c.push_back(Channel("AltGain", "V", T::kBipolar | T::kAlternate, {Shape::Sine, 150, -32000, 32000}));
  c.back().rangeFloat = 4.0f;
  return c;
}

}  // namespace

TarquilSample::TarquilSample(const SampleSpec& request) : SampleLayout(request), channels_(OwnChannels()) {
  for (int n = kOwnChannels; n < request.chans; ++n) {
    const std::string label = "Sine" + std::to_string(n);
    const int64_t period = 100 + 10 * (n - kOwnChannels + 1);
    channels_.push_back(Channel(label.c_str(), "V", kBipolar, {Shape::Sine, period, -30000, 30000}));
  }
}

std::vector<uint8_t> TarquilSample::Description() const {
  ByteBuilder b;
  b.U16(static_cast<uint16_t>(NumChannels()));
  b.U32(static_cast<uint32_t>(Request().scans));
  b.U32(0);
  b.F32(kPreTrigRate);
  b.F32(kPostTrigRate);
  b.I32(static_cast<int32_t>(Request().preTrig));
  b.U32(Request().packed ? 1 : 0);
  for (const TarquilChannel& c : channels_) {
    if (c.flags & kAlternate) {
      b.F32(c.rangeFloat);
    } else {
      b.I32(c.gain);
    }
    b.F32(c.userScale);
    b.F32(c.userOffset);
    b.U32(c.flags);
    b.F32(c.altOffset);
    b.FixedText(c.label, 9);
    b.FixedText(c.units, 9);
  }
  b.Zeros(4);  // the description ends in four bytes that are not read
  return b.Take();
}

int64_t TarquilSample::DataBytes() const {
  if (!Request().packed) return SampleLayout::DataBytes();
  const int64_t samples = Request().scans * NumChannels();
  return (samples + 3) / 4 * 6;
}

uint16_t TarquilSample::WordOf(double value) const {
  const uint16_t word = static_cast<uint16_t>(static_cast<int32_t>(std::lround(value)));
  return Request().packed ? static_cast<uint16_t>(word & 0xFFF0) : word;
}

uint16_t TarquilSample::Word(int64_t scan, int chan) const {
  return WordOf(channels_[static_cast<size_t>(chan)].wave.At(scan));
}

void TarquilSample::PackGroup(const uint16_t samples[4], uint8_t* out) {
  out[0] = static_cast<uint8_t>(samples[0]);
  out[1] = static_cast<uint8_t>(((samples[0] >> 8) & 0x0F) | ((samples[1] & 0x0F) << 4));
  out[2] = static_cast<uint8_t>(samples[1] >> 4);
  out[3] = static_cast<uint8_t>(samples[2]);
  out[4] = static_cast<uint8_t>(((samples[2] >> 8) & 0x0F) | ((samples[3] & 0x0F) << 4));
  out[5] = static_cast<uint8_t>(samples[3] >> 4);
}

void TarquilSample::AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const {
  std::vector<SignalTable> tables;
  for (const TarquilChannel& c : channels_) tables.emplace_back(c.wave);
  const int64_t samples = count * NumChannels();
  std::vector<uint16_t> words(static_cast<size_t>(samples));
  size_t i = 0;
  for (int64_t scan = first; scan < first + count; ++scan) {
    for (const SignalTable& table : tables) words[i++] = WordOf(table.At(scan));
  }
  if (!Request().packed) {
    uint8_t* p = Grow(out, samples * 2);
    for (const uint16_t word : words) {
      StoreU16(p, word);
      p += 2;
    }
    return;
  }
  words.resize(static_cast<size_t>((samples + 3) / 4 * 4), 0);
  uint8_t* p = Grow(out, static_cast<int64_t>(words.size()) / 4 * 6);
  for (size_t g = 0; g < words.size(); g += 4, p += 6) {
    const uint16_t group[4] = {static_cast<uint16_t>(words[g] >> 4), static_cast<uint16_t>(words[g + 1] >> 4),
                               static_cast<uint16_t>(words[g + 2] >> 4), static_cast<uint16_t>(words[g + 3] >> 4)};
    PackGroup(group, p);
  }
}

double TarquilSample::ScanTime(int64_t scan) const {
  const int64_t pre = Request().preTrig;
  const double r1 = kPreTrigRate;
  const double r2 = kPostTrigRate;
  double a = 0.0;
  double p = 0.0;
  if (pre > 0) {
    a = static_cast<double>(std::min(scan, pre)) / r1;
    p = static_cast<double>(pre) / r1;
  }
  if (scan > pre) a += static_cast<double>(scan - pre) / r2;
  return SecondsToDays(a - p);
}

}  // namespace travune::samples
