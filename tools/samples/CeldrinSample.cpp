// The Celdrin sample's channel table, keyword description and raw words.
//
// Rates: pre-trigger 100 scans/s, post-trigger 1000 scans/s; pre-trigger count as requested;
// post-stop count a tenth of the scans (at most the scans after the trigger). Channels
// (countsPerUnit, kind, gain, offset; the value over time, in the channel's units):
//   0 "Volts"   3200, "VOLT" (analog), gain 2, offset 0.5   sine, period 100, −18..19 V
//   1 "TempC"   "Deg C"                    sine, period 500, 20..30 °C
//   2 "TempF"   "Deg F"                    ramp, period 400, 14..212 °F (−10..100 °C)
//   3 "TempK"   "Deg K"                    sine, period 300, 273.15..323.15 K (0..50 °C)
//   4 "TempR"   "Deg R"                    square, period 200, 563.67 / 509.67 °R (40 / 10 °C)
//   5 "Digital" "DIGITAL", offset 32768 (so the value is the unsigned word)
//                                          counter modulo 65536
//   6+ "SineN"  as channel 0               sine, period 100 + 10·(N − 5)
// Each value is encoded into the nearest word: an analog channel counts countsPerUnit per
// unit before its gain and offset, a temperature counts tenths of a degree Celsius (°F = °C ·
// 1.8 + 32, K = °C + 273.15, °R = K · 1.8), the digital channel counts from 32768.
// Positions are 0, 1, 2, ...; with --stamps 5, 6, 7, ... and words 0..4 hold the clock stamp:
// hour, minute, second, microseconds (u32), month, day, year mod 100.
#include "samples/CeldrinSample.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "samples/Calendar.h"
#include "samples/SignalTable.h"
#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"

namespace travune::samples {
namespace {

using Shape = Waveform::Shape;

constexpr int64_t kPreTrigMicros = 10000;
constexpr int64_t kPostTrigMicros = 1000;
const int64_t kTriggerMicros = MicrosecondsFromCivil({2024, 3, 15, 12, 0, 0, 0});

CeldrinChannel Channel(const char* label, const char* kind, const char* units, Waveform wave) {
  CeldrinChannel c;
  c.label = label;
  c.kind = kind;
  c.units = units;
  c.wave = wave;
  return c;
}

CeldrinChannel AnalogChannel(const std::string& label, Waveform wave) {
  CeldrinChannel c = Channel(label.c_str(), "VOLT", "V", wave);
  c.countsPerUnit = 3200.0f;
  c.gain = 2.0f;
  c.offset = 0.5f;
  return c;
}

// °C per degree of a temperature kind and the kind's reading at 0 °C; none for the other kinds.
struct TemperatureUnit {
  double perCelsius;
  double atZeroCelsius;
};

std::optional<TemperatureUnit> TemperatureUnitOf(const std::string& kind) {
  if (kind == "Deg C") return TemperatureUnit{1.0, 0.0};
  if (kind == "Deg F") return TemperatureUnit{1.8, 32.0};
  if (kind == "Deg K") return TemperatureUnit{1.0, 273.15};
  if (kind == "Deg R") return TemperatureUnit{1.8, 273.15 * 1.8};
  return std::nullopt;
}

// The count a value means: value = gain × reading + offset, the reading in tenths of °C for a
// temperature, in counts / countsPerUnit otherwise (from 32768 for the digital channel).
double CountsFor(const CeldrinChannel& c, double value) {
  const double reading = (value - static_cast<double>(c.offset)) / static_cast<double>(c.gain);
  if (const std::optional<TemperatureUnit> unit = TemperatureUnitOf(c.kind)) {
    return (reading - unit->atZeroCelsius) / unit->perCelsius * 10.0;
  }
  const double counts = reading * static_cast<double>(c.countsPerUnit);
  return c.kind == "DIGITAL" ? counts + 32768.0 : counts;
}

// The raw word of a count: two's complement for negative counts.
uint16_t WordOf(double counts) { return static_cast<uint16_t>(static_cast<int32_t>(std::lround(counts))); }

std::string FloatText(float v) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, v);
  return std::string(text, result.ptr);
}

}  // namespace

CeldrinSample::CeldrinSample(const SampleSpec& request) : SampleLayout(request) {
  channels_.push_back(AnalogChannel("Volts", {Shape::Sine, 100, -18, 19}));
  channels_.push_back(Channel("TempC", "Deg C", "degC", {Shape::Sine, 500, 20, 30}));
  channels_.push_back(Channel("TempF", "Deg F", "degF", {Shape::Ramp, 400, 14, 212}));
  channels_.push_back(Channel("TempK", "Deg K", "K", {Shape::Sine, 300, 273.15, 323.15}));
  channels_.push_back(Channel("TempR", "Deg R", "degR", {Shape::Square, 200, 509.67, 563.67}));
  channels_.push_back(Channel("Digital", "DIGITAL", "", {Shape::Counter, 65536, 0, 65535}));
  channels_.back().offset = 32768.0f;
  for (int n = kOwnChannels; n < request.chans; ++n) {
    channels_.push_back(
        AnalogChannel("Sine" + std::to_string(n), {Shape::Sine, 100 + 10 * (n - kOwnChannels + 1), -18, 19}));
  }
}

int64_t CeldrinSample::PostStopCount() const { return std::min(Request().scans / 10, Request().scans - Request().preTrig); }

std::vector<uint8_t> CeldrinSample::Description() const {
  std::string text = "*TYPE\r\nChart recorder sample\r\n*FORMAT\r\nBINARY\r\n*FREQUENCY\r\n";
  text += FloatText(static_cast<float>(kPreTrigRate)) + "," + FloatText(static_cast<float>(kPostTrigRate)) + "\r\n";
  text += "*PRETRIG_COUNT\r\n" + std::to_string(Request().preTrig) + "\r\n";
  text += "*POST_STOP_COUNT\r\n" + std::to_string(PostStopCount()) + "\r\n";
  text += "*CHANNELS\r\n";
  for (int c = 0; c < NumChannels(); ++c) {
    const CeldrinChannel& ch = channels_[static_cast<size_t>(c)];
    text += std::to_string(FirstPosition() + c) + "," + FloatText(ch.countsPerUnit) + "," + ch.label + "," + ch.kind +
            "," + FloatText(ch.gain) + "," + FloatText(ch.offset) + ",0,0,0," + ch.units + "\r\n";
  }
  ByteBuilder b;
  b.Text(text);
  return b.Take();
}

uint16_t CeldrinSample::Word(int64_t scan, int chan) const {
  const CeldrinChannel& c = channels_[static_cast<size_t>(chan)];
  return WordOf(CountsFor(c, c.wave.At(scan)));
}

double CeldrinSample::PlainValue(int64_t scan, int chan) const { return channels_[static_cast<size_t>(chan)].wave.At(scan); }

// Half a count: a tenth of °C in the kind's unit, or 1 / countsPerUnit, under the gain.
double CeldrinSample::Tolerance(int chan) const {
  const CeldrinChannel& c = channels_[static_cast<size_t>(chan)];
  const std::optional<TemperatureUnit> unit = TemperatureUnitOf(c.kind);
  const double perCount = unit ? unit->perCelsius / 10.0 : 1.0 / static_cast<double>(c.countsPerUnit);
  return 0.5 * perCount * std::fabs(static_cast<double>(c.gain));
}

int64_t CeldrinSample::RelativeMicroseconds(int64_t scan) const {
  const int64_t pre = Request().preTrig;
  const int64_t end = Request().scans - PostStopCount();
  int64_t micros = 0;
  if (pre > 0) micros += (std::min(scan, pre) - pre) * kPreTrigMicros;
  if (scan > pre) micros += (std::min(scan, end) - pre) * kPostTrigMicros;
  if (scan > end) micros += (scan - end) * kPreTrigMicros;
  return micros;
}

std::array<uint8_t, 10> CeldrinSample::Stamp(int64_t scan) const {
  const CivilTime t = CivilFromMicroseconds(kTriggerMicros + RelativeMicroseconds(scan));
  const uint32_t micros = static_cast<uint32_t>(t.microsecond);
  return {static_cast<uint8_t>(t.hour),       static_cast<uint8_t>(t.minute),    static_cast<uint8_t>(t.second),
          static_cast<uint8_t>(micros),       static_cast<uint8_t>(micros >> 8), static_cast<uint8_t>(micros >> 16),
          static_cast<uint8_t>(micros >> 24), static_cast<uint8_t>(t.month),     static_cast<uint8_t>(t.day),
          static_cast<uint8_t>(t.year % 100)};
}

void CeldrinSample::AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const {
  std::vector<SignalTable> tables;
  for (const CeldrinChannel& c : channels_) tables.emplace_back(c.wave);
  uint8_t* p = Grow(out, count * ScanBytes());
  for (int64_t scan = first; scan < first + count; ++scan) {
    if (Request().stamps) {
      const std::array<uint8_t, 10> stamp = Stamp(scan);
      p = std::copy(stamp.begin(), stamp.end(), p);
    }
    for (size_t c = 0; c < channels_.size(); ++c) {
      le::PutU16(p, WordOf(CountsFor(channels_[c], tables[c].At(scan))));
      p += 2;
    }
  }
}

double CeldrinSample::ScanTime(int64_t scan) const {
  if (Request().stamps) {
    const CivilTime t = CivilFromMicroseconds(kTriggerMicros + RelativeMicroseconds(scan));
    return static_cast<double>(AutomationDay(t.year, t.month, t.day)) +
           SecondsToDays(t.hour * 3600.0 + t.minute * 60.0 + t.second) +
           SecondsToDays(static_cast<double>(t.microsecond) * 1e-6);
  }
  const int64_t pre = Request().preTrig;
  const int64_t end = Request().scans - PostStopCount();
  double seconds = 0.0;
  if (pre > 0) seconds += static_cast<double>(std::min(scan, pre)) / kPreTrigRate;
  if (scan > pre) seconds += static_cast<double>(std::min(scan, end) - pre) / kPostTrigRate;
  if (scan > end) seconds += static_cast<double>(scan - end) / kPreTrigRate;
  if (pre > 0) seconds -= static_cast<double>(pre) / kPreTrigRate;
  return SecondsToDays(seconds);
}

}  // namespace travune::samples
