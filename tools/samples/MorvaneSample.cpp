// The Morvane sample's channel table, description image and raw words.
//
// Channels (gain, scale, offset, polarity; the value over time, in the channel's units):
//   0  type 0  "Sine"   ±5 V bipolar, gain 1           sine, period 100, −4.5..4.5 V
//   1  type 3  "CJC"    cold-junction reference in °F (scale 1.8, offset 32), bipolar
//                                                      sine, period 400, 75.2..78.8 °F (24..26 °C)
//   2  type 1  "TC-K"   K thermocouple, gain 100, cold junction from channel 1
//                                                      ramp, period 500, 50..280 °C
//   3  type 2  "RTD"    Pt100, four words              ramp, period 500, 0..100 °C
//   4  type 4  "Ref4"   bipolar (−50..50)              sine, period 250, −20..20
//   5  type 5  "Ref5"   unipolar (0..50)               ramp, period 1000, 0..49.9
//   6  type 6  "Aux6"   scale 0.5, offset 10           square, period 200, 1510 / 510
//   7  type 7  "Ramp"   ±5 V (span 20, bipolar, gain 2) ramp, period 256, −5..5 V
//   8  type 8  "Dig8"   8-bit digital input            counter modulo 256
//   9  type 9  "Count"  16-bit counter                 counter modulo 65536
//  10  type 10 ""       high-speed digital (device code 272, reads "HSDI"), scale 2, offset −1
//                                                      square, period 100, 131069 / −1
//  11  type 11 "Volt11" gain 4, scale 2.5, offset 0.25 (0.25..40959.625 V)
//                                                      sine, period 300, 3000..37000 V
//  12  type 12 "Aux12"  scale 3                        ramp, period 4096, 0..12285
//  13  type 13 "TC-J"   J thermocouple, gain 100, cold junction 0 °C
//                                                      sine, period 600, 10..170 °C
//  14  type 14 "TC-T"   T thermocouple in °F (scale 1.8, offset 32), gain 100
//                                                      ramp, period 700, 40..350 °F
//  15+ type 0  "SineN"  as channel 0                   sine, period 100 + 10·(N − 14)
// Each value is encoded into the raw word nearest to it: voltage, reference and counting
// channels through their line from code 0 to code 65535, thermocouples as the code whose
// driver reading comes nearest, the RTD as the four words of its Pt100 resistance.
// Raw scan: the one-word channels in channel order, then the RTD's four words; firstChannel 2
// exchanges the places of channels 0 and 1, so word 0 holds channel 1 and word 1 channel 0.
#include "samples/MorvaneSample.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "qulix.h"
#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"

namespace travune::samples {
namespace {

using Shape = Waveform::Shape;

// The RTD's reference and sense codes: R = 400 ohm × (sHi − sLo) / (rHi − rLo), and
// rHi − rLo = 40000, so sHi − sLo is the resistance in hundredths of an ohm.
constexpr uint16_t kRtdSenseLow = 1000;
constexpr uint16_t kRtdRefHigh = 41000;
constexpr uint16_t kRtdRefLow = 1000;

// The driver reads thermocouples in tenths of a degree: the code whose reading is nearest to a
// temperature reads within half a tenth of it, since one code moves a gain-100 reading by less
// than a tenth (1.53 µV per code against at least 39 µV/°C for these types and temperatures).
constexpr double kThermocoupleCelsius = 0.05;
// The RTD: the driver's half tenth plus half a hundredth of an ohm at 0.379 ohm/°C (100 °C).
constexpr double kRtdCelsius = 0.05 + 0.005 / 0.379;

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
  c.push_back(Channel(0, "Sine", "V", 1, 1, 0, 1, {Shape::Sine, 100, -4.5, 4.5}));
  c.push_back(Channel(3, "CJC", "degF", 1, 1.8f, 32, 1, {Shape::Sine, 400, 75.2, 78.8}));
  c.push_back(Channel(1, "TC-K", "degC", 100, 1, 0, 2, {Shape::Ramp, 500, 50, 280}));
  c.push_back(Channel(2, "RTD", "degC", 1, 1, 0, 0, {Shape::Ramp, 500, 0, 100}));
  c.push_back(Channel(4, "Ref4", "V", 1, 1, 0, 1, {Shape::Sine, 250, -20, 20}));
  c.push_back(Channel(5, "Ref5", "V", 1, 1, 0, 0, {Shape::Ramp, 1000, 0, 49.9}));
  c.push_back(Channel(6, "Aux6", "cnt", 1, 0.5f, 10, 0, {Shape::Square, 200, 510, 1510}));
  c.push_back(Channel(7, "Ramp", "V", 2, 1, 0, 1, {Shape::Ramp, 256, -5, 5}));
  c.push_back(Channel(8, "Dig8", "", 1, 1, 0, 0, {Shape::Counter, 256, 0, 255}));
  c.push_back(Channel(9, "Count", "cnt", 1, 1, 0, 0, {Shape::Counter, 65536, 0, 65535}));
  c.push_back(Channel(10, "", "cnt", 1, 2, -1, 0, {Shape::Square, 100, -1, 131069}));
  c.back().deviceCode = 272;
  c.push_back(Channel(11, "Volt11", "V", 4, 2.5f, 0.25f, 0, {Shape::Sine, 300, 3000, 37000}));
  c.push_back(Channel(12, "Aux12", "", 1, 3, 0, 0, {Shape::Ramp, 4096, 0, 12285}));
  c.push_back(Channel(13, "TC-J", "degC", 100, 1, 0, 1, {Shape::Sine, 600, 10, 170}));
  c.push_back(Channel(14, "TC-T", "degF", 100, 1.8f, 32, 3, {Shape::Ramp, 700, 40, 350}));
  return c;
}

bool IsReferenceType(int32_t type) { return type == 3 || type == 4 || type == 5 || type == 13 || type == 14; }
bool IsThermocoupleType(int32_t type) { return type == 1 || type == 13 || type == 14; }

// A one-word channel that is no temperature shows zero + code × step.
struct Line {
  double zero;
  double step;
};

// Voltage channels span their range over codes 0..65535; reference sensors have their own
// line under the user's scale and offset; the other channels count code × scale + offset.
Line LineOf(const MorvaneChannel& c) {
  const double scale = c.scale;
  const double offset = c.offset;
  const double gain = c.gain == 0.0f ? 1.0 : static_cast<double>(c.gain);
  const bool bipolar = c.polarity != 0;
  switch (c.type) {
    case 0:
    case 7: {
      const double span = (c.type == 0 ? 10.0 : 20.0) * (bipolar ? 0.5 : 1.0) / gain;
      const double lower = offset + scale * (bipolar ? -span : 0.0);
      return {lower, (offset + scale * span - lower) / 65535.0};
    }
    case 11:
      return {offset, scale / gain};
    case 3:
      return {offset + scale * (bipolar ? -102.5 : 0.0), scale * (bipolar ? 205.0 : 102.5) / 65536.0};
    case 4:
      return {offset + scale * (bipolar ? -50.0 : 0.0), scale * (bipolar ? 100.0 : 200.0 / 3.0) / 65536.0};
    case 5:
      return {offset + scale * (bipolar ? -50.0 : 0.0), scale * (bipolar ? 100.0 : 50.0) / 65536.0};
    default:
      return {offset, scale};
  }
}

uint16_t NearestCode(double code) { return static_cast<uint16_t>(std::clamp<long>(std::lround(code), 0, 65535)); }

// The driver's reading in °C of a thermocouple code, read alone or after a cold junction's
// code. A refused code lies beyond the sensor's range: below it for negative voltages (codes
// under 32768), above it otherwise.
double DriverCelsius(const MorvaneChannel& c, uint16_t code, std::optional<uint16_t> junction) {
  uint8_t words[4] = {};
  int32_t numWords = 0;
  if (junction) le::PutU16(words + 2 * numWords++, *junction);
  le::PutU16(words + 2 * numWords++, code);
  uint8_t out[2] = {};
  if (QlxThermocouple(2, 0, 1, static_cast<int32_t>(c.gain), c.polarity & 0xFF, 1, words, 1, out, numWords) != 0) {
    return (code < 32768 ? -1.0 : 1.0) * std::numeric_limits<double>::infinity();
  }
  return le::I16(out) / 10.0;
}

// The thermocouple code whose reading lies nearest to celsius; readings rise with the code.
uint16_t ThermocoupleCode(const MorvaneChannel& c, double celsius, std::optional<uint16_t> junction) {
  uint32_t low = 0;
  uint32_t high = 65535;
  while (low < high) {
    const uint32_t mid = (low + high) / 2;
    if (DriverCelsius(c, static_cast<uint16_t>(mid), junction) < celsius) {
      low = mid + 1;
    } else {
      high = mid;
    }
  }
  const auto code = static_cast<uint16_t>(low);
  if (code > 0 && celsius - DriverCelsius(c, code - 1, junction) < DriverCelsius(c, code, junction) - celsius) {
    return code - 1;
  }
  return code;
}

// Pt100 resistance at celsius ≥ 0: R0 (1 + A t + B t²).
double Pt100Ohms(double celsius) { return 100.0 * (1.0 + 3.9083e-3 * celsius - 5.775e-7 * celsius * celsius); }

std::array<uint16_t, 4> RtdWordsForOhms(double ohms) {
  const uint16_t senseHigh = static_cast<uint16_t>(kRtdSenseLow + std::lround(ohms * 100.0));
  return {senseHigh, kRtdSenseLow, kRtdRefHigh, kRtdRefLow};
}

// A temperature channel shows the driver's °C × scale + offset.
double CelsiusOf(const MorvaneChannel& c, double value) {
  return (value - static_cast<double>(c.offset)) / static_cast<double>(c.scale);
}

}  // namespace

MorvaneSample::MorvaneSample(const SampleSpec& request) : SampleLayout(request), channels_(OwnChannels()) {
  for (int n = kOwnChannels; n < request.chans; ++n) {
    const std::string label = "Sine" + std::to_string(n);
    const int64_t period = 100 + 10 * (n - kOwnChannels + 1);
    channels_.push_back(Channel(0, label.c_str(), "V", 1, 1, 0, 1, {Shape::Sine, period, -4.5, 4.5}));
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

double MorvaneSample::PlainValue(int64_t scan, int chan) const { return channels_[static_cast<size_t>(chan)].wave.At(scan); }

double MorvaneSample::Tolerance(int chan) const {
  const MorvaneChannel& c = channels_[static_cast<size_t>(chan)];
  if (c.type == 2) return kRtdCelsius * std::fabs(c.scale);
  if (IsThermocoupleType(c.type)) return kThermocoupleCelsius * std::fabs(c.scale);
  return std::fabs(LineOf(c).step) / 2.0;
}

std::optional<uint16_t> MorvaneSample::JunctionCode(int64_t scan, int chan) const {
  if (channels_[static_cast<size_t>(chan)].type != 1) return std::nullopt;
  const int reference = ReferenceChannelBefore(chan);
  return reference < 0 ? uint16_t{0} : Code(scan, reference);
}

uint16_t MorvaneSample::Code(int64_t scan, int chan) const {
  const MorvaneChannel& c = channels_[static_cast<size_t>(chan)];
  const double value = c.wave.At(scan);
  if (IsThermocoupleType(c.type)) return ThermocoupleCode(c, CelsiusOf(c, value), JunctionCode(scan, chan));
  const Line line = LineOf(c);
  return NearestCode((value - line.zero) / line.step);
}

std::array<uint16_t, 4> MorvaneSample::RtdWords(int64_t scan, int chan) const {
  const MorvaneChannel& c = channels_[static_cast<size_t>(chan)];
  return RtdWordsForOhms(Pt100Ohms(CelsiusOf(c, c.wave.At(scan))));
}

int MorvaneSample::ReferenceChannelBefore(int chan) const {
  for (int c = chan - 1; c >= 0; --c) {
    if (IsReferenceType(channels_[static_cast<size_t>(c)].type)) return c;
  }
  return -1;
}

int64_t MorvaneSample::WordPeriod(int chan) const {
  const int64_t own = channels_[static_cast<size_t>(chan)].wave.period;
  const int reference = channels_[static_cast<size_t>(chan)].type == 1 ? ReferenceChannelBefore(chan) : -1;
  return reference < 0 ? own : std::lcm(own, channels_[static_cast<size_t>(reference)].wave.period);
}

void MorvaneSample::AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const {
  // One period of every channel's words, so that the encoding is done once per period.
  std::vector<std::vector<std::array<uint16_t, 4>>> tables(channels_.size());
  for (size_t c = 0; c < channels_.size(); ++c) {
    const int chan = static_cast<int>(c);
    for (int64_t k = 0; k < WordPeriod(chan); ++k) {
      tables[c].push_back(channels_[c].type == 2 ? RtdWords(k, chan) : std::array<uint16_t, 4>{Code(k, chan)});
    }
  }
  uint8_t* p = Grow(out, count * ScanBytes());
  for (int64_t scan = first; scan < first + count; ++scan, p += ScanBytes()) {
    for (size_t c = 0; c < channels_.size(); ++c) {
      const std::array<uint16_t, 4>& words = tables[c][static_cast<size_t>(scan % static_cast<int64_t>(tables[c].size()))];
      const int numWords = channels_[c].type == 2 ? 4 : 1;
      for (int i = 0; i < numWords; ++i) le::PutU16(p + 2 * (wordIndex_[c] + i), words[static_cast<size_t>(i)]);
    }
  }
}

double MorvaneSample::ScanTime(int64_t scan) const {
  return SecondsToDays(static_cast<double>(scan - Request().preTrig) / static_cast<double>(kScanRate));
}

}  // namespace travune::samples
