// The Tarquil sample's channel table, description image and raw samples.
//
// Header: pre-trigger rate 250 scans/s, post-trigger rate 1000 scans/s, pre-trigger count
// as requested, packed = 1 with --packed. Channels (flags; range word; user scale/offset; the
// value over time, in the channel's units):
//   0 "Bipolar"  bipolar; gain 1 (±5 V)                 sine, period 100, −4.5..4.5 V
//   1 "Unipolar" unipolar; gain 2 (0..5 V); ×2.5 − 1    ramp, period 512, −1..11.4 mA
//   2 "Factor"   explicit + alternate: factor 0.0005, offset 2.0
//                                                       square, period 100, 12 / −8 bar
//   3 "Digital"  digital, unsigned, explicit + alternate: factor 0.5, floored
//                                                       counter modulo 32768
//   4 "Unsigned" bipolar, unsigned; gain 1 (0..10 V)    ramp, period 1000, 0..9.99 V
//   5 "Freq"     reciprocal, unsigned, explicit + alternate: factor 0.0001 (Hz = 1 / (code·0.0001))
//                                                       ramp, period 200, 1..10 Hz
//   6 "AltGain"  bipolar, alternate: float gain 4.0 (±1.25 V)
//                                                       sine, period 150, −1.2..1.2 V
//   7+ "SineN"   as channel 0                           sine, period 100 + 10·(N − 6)
// Each value is encoded into the nearest code of the channel's input line (code × factor +
// offset, the factor 10 / (gain · 65536) volts for gain channels); a digital channel's count n
// is written as the code nearest to n + ½, the middle of the codes that floor to n.
// Packed, each 16-bit code keeps its top 12 bits: the sample is code >> 4 and the reader sees
// (code >> 4) << 4. The samples of all scans form one stream, four samples to six bytes; the
// last group is padded with zero samples.
#include "samples/TarquilSample.h"

#include <algorithm>
#include <cmath>

#include "samples/SignalTable.h"
#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"

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
  c.push_back(Channel("Bipolar", "V", T::kBipolar, {Shape::Sine, 100, -4.5, 4.5}));
  c.push_back(Channel("Unipolar", "mA", 0, {Shape::Ramp, 512, -1, 11.4}));
  c.back().gain = 2;
  c.back().userScale = 2.5f;
  c.back().userOffset = -1.0f;
  c.push_back(Channel("Factor", "bar", T::kExplicit | T::kAlternate, {Shape::Square, 100, -8, 12}));
  c.back().rangeFloat = 0.0005f;
  c.back().altOffset = 2.0f;
  c.push_back(Channel("Digital", "", T::kDigital | T::kUnsigned | T::kExplicit | T::kAlternate,
                      {Shape::Counter, 32768, 0, 32767}));
  c.back().rangeFloat = 0.5f;
  c.push_back(Channel("Unsigned", "V", T::kBipolar | T::kUnsigned, {Shape::Ramp, 1000, 0, 9.99}));
  c.push_back(Channel("Freq", "Hz", T::kReciprocal | T::kUnsigned | T::kExplicit | T::kAlternate,
                      {Shape::Ramp, 200, 1, 10}));
  c.back().rangeFloat = 0.0001f;
  c.push_back(Channel("AltGain", "V", T::kBipolar | T::kAlternate, {Shape::Sine, 150, -1.2, 1.2}));
  c.back().rangeFloat = 4.0f;
  return c;
}

// The channel's input quantity is x × k + c for its signed or unsigned code x.
struct InputLine {
  double k;
  double c;
};

InputLine InputLineOf(const TarquilChannel& ch) {
  using T = TarquilSample;
  const bool alternate = (ch.flags & T::kAlternate) != 0;
  if (ch.flags & T::kExplicit) {
    return alternate ? InputLine{ch.rangeFloat, ch.altOffset} : InputLine{ch.userScale, ch.userOffset};
  }
  const double gain = alternate ? static_cast<double>(ch.rangeFloat) : static_cast<double>(ch.gain);
  const double k = 10.0 / (gain * 65536.0);
  return {k, (ch.flags & T::kBipolar) ? 0.0 : 32768.0 * k};
}

// The value is userScale × input + userOffset, or userScale / input + userOffset for a
// reciprocal quantity; the input a value needs.
double InputFor(const TarquilChannel& ch, double value) {
  const double user = value - static_cast<double>(ch.userOffset);
  return (ch.flags & TarquilSample::kReciprocal) ? ch.userScale / user : user / ch.userScale;
}

}  // namespace

TarquilSample::TarquilSample(const SampleSpec& request) : SampleLayout(request), channels_(OwnChannels()) {
  for (int n = kOwnChannels; n < request.chans; ++n) {
    const std::string label = "Sine" + std::to_string(n);
    const int64_t period = 100 + 10 * (n - kOwnChannels + 1);
    channels_.push_back(Channel(label.c_str(), "V", kBipolar, {Shape::Sine, period, -4.5, 4.5}));
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

uint16_t TarquilSample::WordOf(const TarquilChannel& c, double value) const {
  const InputLine line = InputLineOf(c);
  const double wanted = (c.flags & kDigital) ? value + 0.5 : value;
  const long low = (c.flags & kUnsigned) ? 0 : -32768;
  const long code = std::clamp<long>(std::lround((InputFor(c, wanted) - line.c) / line.k), low, low + 65535);
  const uint16_t word = static_cast<uint16_t>(code);
  return Request().packed ? static_cast<uint16_t>(word & 0xFFF0) : word;
}

uint16_t TarquilSample::Word(int64_t scan, int chan) const {
  const TarquilChannel& c = channels_[static_cast<size_t>(chan)];
  return WordOf(c, c.wave.At(scan));
}

double TarquilSample::PlainValue(int64_t scan, int chan) const { return channels_[static_cast<size_t>(chan)].wave.At(scan); }

// Rounding to the nearest code misses by half a code; packed samples lose up to 15 more codes
// below, so they stay within one 12-bit step (16 codes). A digital count is exact unpacked. A
// reciprocal value moves by k (v − userOffset)² / userScale per code, most at the wave's far end.
double TarquilSample::Tolerance(int chan) const {
  const TarquilChannel& c = channels_[static_cast<size_t>(chan)];
  const double codes = Request().packed ? 16.0 : 0.5;
  if ((c.flags & kDigital) && !Request().packed) return 0.0;
  const double perCode = std::fabs(InputLineOf(c).k * c.userScale);
  if (!(c.flags & kReciprocal)) return codes * perCode;
  const double farthest = std::max(std::fabs(c.wave.low - c.userOffset), std::fabs(c.wave.high - c.userOffset));
  return codes * std::fabs(InputLineOf(c).k) * farthest * farthest / std::fabs(c.userScale);
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
    for (size_t c = 0; c < channels_.size(); ++c) words[i++] = WordOf(channels_[c], tables[c].At(scan));
  }
  if (!Request().packed) {
    uint8_t* p = Grow(out, samples * 2);
    for (const uint16_t word : words) {
      le::PutU16(p, word);
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
