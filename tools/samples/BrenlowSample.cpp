// The Brenlow sample's records, description image and raw floats.
//
// Scan rate 128 scans/s, version 2.5. Records (type; range; float written):
//   0 "Sine"    type 0, −10..10        sine, period 128, −5..5
//   1 "Clamped" type 0, −1..1          ramp, period 300, −1.5..1.5 (clamped to the range)
//   2 "Count"   type 4, 0..100000      counter modulo 1000
//   3 "Square"  type 7, −0.01..0.01    square, period 64, 0.004 / −0.004
//   4 "Temp"    type 8, −50..150       sine, period 512, 15..25
//   5+ "SineN"  type 0, −10..10        sine, period 128 + 8·(N − 4), −5..5
// With --stamps three type-6 records "Time", "Time+1", "Time+2" follow; the first is the
// time source and its three floats per scan hold the clock time of the scan.
#include "samples/BrenlowSample.h"

#include <algorithm>
#include <cmath>

#include "samples/Calendar.h"
#include "samples/SignalTable.h"
#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"

namespace travune::samples {
namespace {

using Shape = Waveform::Shape;

// Scan 0's clock time: 15 March 2024, 12:00:00, in seconds since 1 January 1997.
const int64_t kFirstStampSeconds = (DaysFromCivil(2024, 3, 15) - DaysFromCivil(1997, 1, 1)) * 86400 + 12 * 3600;
constexpr double kAutomationDayOf1997 = 35431.0;

BrenlowRecord Record(int32_t type, const char* label, const char* units, double lower, double upper, Waveform wave) {
  BrenlowRecord r;
  r.type = type;
  r.label = label;
  r.units = units;
  r.lower = lower;
  r.upper = upper;
  r.wave = wave;
  return r;
}

}  // namespace

BrenlowSample::BrenlowSample(const SampleSpec& request) : SampleLayout(request) {
  records_.push_back(Record(0, "Sine", "V", -10, 10, {Shape::Sine, 128, -5, 5}));
  records_.push_back(Record(0, "Clamped", "V", -1, 1, {Shape::Ramp, 300, -1.5, 1.5}));
  records_.push_back(Record(4, "Count", "cnt", 0, 100000, {Shape::Counter, 1000, 0, 999}));
  records_.push_back(Record(7, "Square", "mV", -0.01, 0.01, {Shape::Square, 64, -0.004, 0.004}));
  records_.push_back(Record(8, "Temp", "degC", -50, 150, {Shape::Sine, 512, 15, 25}));
  for (int n = kOwnChannels; n < request.chans; ++n) {
    const std::string label = "Sine" + std::to_string(n);
    const int64_t period = 128 + 8 * (n - kOwnChannels + 1);
    records_.push_back(Record(0, label.c_str(), "V", -10, 10, {Shape::Sine, period, -5, 5}));
  }
  numUser_ = static_cast<int>(records_.size());
  if (request.stamps) {
    for (const char* label : {"Time", "Time+1", "Time+2"}) records_.push_back(Record(6, label, "s", 0, 0, {}));
  }
}

std::vector<uint8_t> BrenlowSample::Description() const {
  ByteBuilder b;
  b.F64(kVersion);
  b.F64(kScanRate);
  b.I32(static_cast<int32_t>(records_.size()));
  b.I32(static_cast<int32_t>(Request().preTrig));
  b.I32(static_cast<int32_t>(Request().scans));
  b.Zeros(28);
  for (const BrenlowRecord& r : records_) {
    b.Zeros(4);
    b.FixedText(r.label, 16);
    b.FixedText(r.units, 20);
    b.I32(r.type);
    b.Zeros(28);
    b.F64(r.lower);
    b.F64(r.upper);
    b.Zeros(24);
  }
  return b.Take();
}

float BrenlowSample::Value(int64_t scan, int chan) const {
  return static_cast<float>(records_[static_cast<size_t>(chan)].wave.At(scan));
}

double BrenlowSample::PlainValue(int64_t scan, int chan) const {
  const BrenlowRecord& r = records_[static_cast<size_t>(chan)];
  return std::clamp(static_cast<double>(Value(scan, chan)), r.lower, r.upper);
}

std::array<float, 3> BrenlowSample::Stamp(int64_t scan) const {
  const int64_t seconds = kFirstStampSeconds + scan / 128;
  const int64_t fraction = (scan % 128) * 2;
  return {static_cast<float>(seconds & 0xFFFF), static_cast<float>(seconds >> 16), static_cast<float>(fraction)};
}

void BrenlowSample::AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const {
  std::vector<SignalTable> tables;
  for (int c = 0; c < numUser_; ++c) tables.emplace_back(records_[static_cast<size_t>(c)].wave);
  uint8_t* p = Grow(out, count * ScanBytes());
  for (int64_t scan = first; scan < first + count; ++scan) {
    for (const SignalTable& table : tables) {
      le::PutF32(p, static_cast<float>(table.At(scan)));
      p += 4;
    }
    if (Request().stamps) {
      for (const float f : Stamp(scan)) {
        le::PutF32(p, f);
        p += 4;
      }
    }
  }
}

double BrenlowSample::ScanTime(int64_t scan) const {
  if (!Request().stamps) return SecondsToDays(static_cast<double>(scan - Request().preTrig) / kScanRate);
  const std::array<float, 3> f = Stamp(scan);
  const double seconds =
      static_cast<double>(f[0]) + static_cast<double>(f[1]) * 65536.0 + static_cast<double>(f[2]) / 256.0;
  return SecondsToDays(seconds) + kAutomationDayOf1997;
}

}  // namespace travune::samples
