// The Quillon sample's channel records, description image and raw floats.
//
// Scan rate 200 scans/s, version 2.1, trigger at 15 March 2024, 12:00:00. Channels (type;
// range as written; float written):
//   0 "Sine"    type 1, upper 10, lower −10     sine, period 100, −8..8
//   1 "Count"   type 5, upper 1e6, lower 0      counter modulo 1000
//   2 "Swapped" type 2, upper −1, lower 1 (written reversed; reads −1..1)
//                                               ramp, period 400, −1.25..1.25 (clamped)
//   3 "Square"  type 7, upper 2, lower −2       square, period 50, 1.5 / −1.5
//   4+ "SineN"  type 1, upper 10, lower −10     sine, period 100 + 10·(N − 3), −8..8
#include "samples/QuillonSample.h"

#include <algorithm>

#include "samples/Calendar.h"
#include "samples/SignalTable.h"
#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"

namespace travune::samples {
namespace {

using Shape = Waveform::Shape;

QuillonChannel Channel(uint32_t type, const char* label, const char* units, float upper, float lower, Waveform wave) {
  QuillonChannel c;
  c.type = type;
  c.label = label;
  c.units = units;
  c.upperWritten = upper;
  c.lowerWritten = lower;
  c.wave = wave;
  return c;
}

}  // namespace

QuillonSample::QuillonSample(const SampleSpec& request) : SampleLayout(request) {
  channels_.push_back(Channel(1, "Sine", "V", 10, -10, {Shape::Sine, 100, -8, 8}));
  channels_.push_back(Channel(5, "Count", "cnt", 1e6f, 0, {Shape::Counter, 1000, 0, 999}));
  channels_.push_back(Channel(2, "Swapped", "bar", -1, 1, {Shape::Ramp, 400, -1.25, 1.25}));
  channels_.push_back(Channel(7, "Square", "A", 2, -2, {Shape::Square, 50, -1.5, 1.5}));
  for (int n = kOwnChannels; n < request.chans; ++n) {
    const std::string label = "Sine" + std::to_string(n);
    const int64_t period = 100 + 10 * (n - kOwnChannels + 1);
    channels_.push_back(Channel(1, label.c_str(), "V", 10, -10, {Shape::Sine, period, -8, 8}));
  }
}

double QuillonSample::TriggerDate() { return static_cast<double>(AutomationDay(2024, 3, 15)) + 0.5; }

std::vector<uint8_t> QuillonSample::Description() const {
  ByteBuilder b;
  b.CountedText("Quillon");
  b.U32(2);  // version 2.1
  b.U32(1);
  b.U32(0);
  b.CountedText("DSC File");
  b.I16(static_cast<int16_t>(NumChannels()));
  b.U32(static_cast<uint32_t>(Request().scans));
  b.I32(static_cast<int32_t>(Request().preTrig));
  b.U32(0);
  b.F64(kScanRate);
  b.F64(TriggerDate());
  for (const QuillonChannel& c : channels_) {
    b.U32(c.type);
    b.F32(c.upperWritten);
    b.CountedText(c.label);
    b.F32(c.lowerWritten);
    for (int i = 0; i < 4; ++i) b.U32(0);
    b.CountedText(c.units);
    b.U32(0);
    b.U32(0);
    b.CountedText("sample channel");
  }
  return b.Take();
}

float QuillonSample::Value(int64_t scan, int chan) const {
  return static_cast<float>(channels_[static_cast<size_t>(chan)].wave.At(scan));
}

double QuillonSample::PlainValue(int64_t scan, int chan) const {
  const QuillonChannel& c = channels_[static_cast<size_t>(chan)];
  const double lower = std::min(c.lowerWritten, c.upperWritten);
  const double upper = std::max(c.lowerWritten, c.upperWritten);
  return std::clamp(static_cast<double>(Value(scan, chan)), lower, upper);
}

void QuillonSample::AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const {
  std::vector<SignalTable> tables;
  for (const QuillonChannel& c : channels_) tables.emplace_back(c.wave);
  uint8_t* p = Grow(out, count * ScanBytes());
  for (int64_t scan = first; scan < first + count; ++scan) {
    for (const SignalTable& table : tables) {
      le::PutF32(p, static_cast<float>(table.At(scan)));
      p += 4;
    }
  }
}

double QuillonSample::ScanTime(int64_t scan) const {
  return SecondsToDays(static_cast<double>(scan - Request().preTrig) / kScanRate) + TriggerDate();
}

}  // namespace travune::samples
