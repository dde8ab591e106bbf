// The engineering value each sample channel is meant to show, computed from the raw code the
// generator wrote. Morvane values follow the acquisition application's own chain of double
// operations (so a correct reader matches them bit for bit); Brenlow, Vexmoor, Threnix and
// Quillon values are the written floats clamped to the channel range (also exact); Tarquil
// and Celdrin values use the plain physical formula of each channel, which a reader that
// interpolates between the range ends reproduces to within one float32 step.
#include <algorithm>
#include <array>
#include <cmath>

#include "qulix.h"
#include "samples/BrenlowSample.h"
#include "samples/CeldrinSample.h"
#include "samples/MorvaneSample.h"
#include "samples/QuillonSample.h"
#include "samples/Samples.h"
#include "samples/TarquilSample.h"
#include "support/LittleEndian.h"

namespace travune::samples {
namespace {

constexpr int16_t kDriverFailure = -32768;

int16_t LoadI16(const uint8_t* p) { return static_cast<int16_t>(p[0] | (p[1] << 8)); }

// The driver's thermocouple result in tenths of °C for little-endian words (one thermocouple
// code, or a reference code followed by it); -32768 when the driver refuses.
int16_t ThermocoupleTenths(const MorvaneChannel& c, const std::vector<uint16_t>& codes) {
  std::array<uint8_t, 4> words{};
  if (!codes.empty()) le::PutU16(words.data(), codes[0]);
  if (codes.size() > 1) le::PutU16(words.data() + 2, codes[1]);
  uint8_t out[2] = {0, 0};
  const int32_t numWords = static_cast<int32_t>(codes.size());
  const int32_t status =
      QlxThermocouple(2, 0, 1, static_cast<int32_t>(c.gain), c.polarity & 0xFF, 1, words.data(), 1, out, numWords);
  return status == 0 ? LoadI16(out) : kDriverFailure;
}

int16_t RtdTenths(const MorvaneChannel& c, const std::array<uint16_t, 4>& codes) {
  std::array<uint8_t, 8> words{};
  for (size_t i = 0; i < 4; ++i) le::PutU16(words.data() + 2 * i, codes[i]);
  uint8_t out[2] = {0, 0};
  const int32_t status = QlxRtd(1, 0, 1, static_cast<int32_t>(c.gain), 1, words.data(), 1, out, 1);
  return status == 0 ? LoadI16(out) : kDriverFailure;
}

// Voltage channels: the range from type, gain and polarity, mapped onto codes 0..65535.
double MorvaneVoltage(const MorvaneChannel& c, uint16_t w) {
  const double g = c.gain == 0.0f ? 1.0 : static_cast<double>(c.gain);
  const double scale = c.scale;
  const double offset = c.offset;
  const bool bipolar = c.polarity != 0;
  double lower = offset;
  double upper = offset + scale * 65535.0 / g;
  if (c.type != 11) {
    const double span = c.type == 0 ? 10.0 : 20.0;
    const double s = span * (bipolar ? 0.5 : 1.0) / g;
    lower = offset + scale * (bipolar ? -s : 0.0);
    upper = offset + scale * s;
  }
  const double m = (upper - lower) / 65535.0;
  return w * m + lower;
}

// Reference channels: the sensor's own line (m2, b2) composed under the user's scale and offset.
double MorvaneReference(const MorvaneChannel& c, uint16_t w) {
  const bool bipolar = c.polarity != 0;
  double m2 = 0.0;
  double b2 = 0.0;
  if (c.type == 3) {
    m2 = bipolar ? 205.0 / 65536.0 : 102.5 / 65536.0;
    b2 = bipolar ? -102.5 : 0.0;
  } else if (c.type == 4) {
    m2 = bipolar ? 100.0 / 65536.0 : (200.0 / 3.0) / 65536.0;
    b2 = bipolar ? -50.0 : 0.0;
  } else {
    m2 = bipolar ? 100.0 / 65536.0 : 50.0 / 65536.0;
    b2 = bipolar ? -50.0 : 0.0;
  }
  // The sample's type-4 and type-5 channels have scale 1 and offset 0, so composing and
  // replacing the line give the same numbers.
  const double m = static_cast<double>(c.scale) * m2;
  const double b = static_cast<double>(c.scale) * b2 + static_cast<double>(c.offset);
  return w * m + b;
}

double MorvaneValue(const MorvaneSample& sample, int64_t scan, int chan) {
  const MorvaneChannel& c = sample.Channels()[static_cast<size_t>(chan)];
  const double tenthsScale = static_cast<double>(c.scale) * 0.1;
  switch (c.type) {
    case 0:
    case 7:
    case 11:
      return MorvaneVoltage(c, sample.Code(scan, chan));
    case 1: {
      // The cold junction is the reference channel read just before this one in the scan.
      const int ref = sample.ReferenceChannelBefore(chan);
      const uint16_t refCode = ref < 0 ? 0 : sample.Code(scan, ref);
      return ThermocoupleTenths(c, {refCode, sample.Code(scan, chan)}) * tenthsScale + c.offset;
    }
    case 2:
      return RtdTenths(c, sample.RtdWords(scan, chan)) * tenthsScale + c.offset;
    case 13:
    case 14:
      return ThermocoupleTenths(c, {sample.Code(scan, chan)}) * tenthsScale + c.offset;
    case 3:
    case 4:
    case 5:
      return MorvaneReference(c, sample.Code(scan, chan));
    default:
      return sample.Code(scan, chan) * static_cast<double>(c.scale) + c.offset;
  }
}

// Tarquil: the input quantity code × k + c (volts from the gain, or the explicit factor and
// offset), then the user's scale and offset; a reciprocal channel shows scale / input + offset.
double TarquilValue(const TarquilSample& sample, int64_t scan, int chan) {
  using T = TarquilSample;
  const TarquilChannel& c = sample.Channels()[static_cast<size_t>(chan)];
  const uint16_t word = sample.Word(scan, chan);
  const double x =
      (c.flags & T::kUnsigned) ? static_cast<double>(word) : static_cast<double>(static_cast<int16_t>(word));
  double k = 0.0;
  double offset = 0.0;
  if (c.flags & T::kExplicit) {
    k = (c.flags & T::kAlternate) ? c.rangeFloat : c.userScale;
    offset = (c.flags & T::kAlternate) ? c.altOffset : c.userOffset;
  } else {
    const double gain = (c.flags & T::kAlternate) ? static_cast<double>(c.rangeFloat) : static_cast<double>(c.gain);
    k = 10.0 / (gain * 65536.0);
    offset = (c.flags & T::kBipolar) ? 0.0 : 32768.0 * k;
  }
  const double input = x * k + offset;
  double value = (c.flags & T::kReciprocal) ? c.userScale / input + c.userOffset : c.userScale * input + c.userOffset;
  if (c.flags & T::kDigital) value = std::floor(value);
  return value;
}

double Clamped(double value, double lower, double upper) { return std::clamp(value, lower, upper); }

double BrenlowValue(const BrenlowSample& sample, int64_t scan, int chan) {
  const BrenlowRecord& r = sample.Records()[static_cast<size_t>(chan)];
  return Clamped(sample.Value(scan, chan), r.lower, r.upper);
}

double QuillonValue(const QuillonSample& sample, int64_t scan, int chan) {
  const QuillonChannel& c = sample.Channels()[static_cast<size_t>(chan)];
  const double lower = std::min(c.lowerWritten, c.upperWritten);
  const double upper = std::max(c.lowerWritten, c.upperWritten);
  return Clamped(sample.Value(scan, chan), lower, upper);
}

// Celdrin: counts / countsPerUnit for analog channels, tenths of °C in the kind's unit for
// temperatures, the unsigned word − 32768 for the digital channel; then × gain + offset.
double CeldrinValue(const CeldrinSample& sample, int64_t scan, int chan) {
  const CeldrinChannel& c = sample.Channels()[static_cast<size_t>(chan)];
  const uint16_t word = sample.Word(scan, chan);
  const double signedCounts = static_cast<int16_t>(word);
  const double celsius = signedCounts / 10.0;
  double reading = signedCounts / static_cast<double>(c.countsPerUnit);
  if (c.kind == "DIGITAL") {
    reading = (static_cast<double>(word) - 32768.0) / static_cast<double>(c.countsPerUnit);
  } else if (c.kind == "Deg C") {
    reading = celsius;
  } else if (c.kind == "Deg F") {
    reading = celsius * 1.8 + 32.0;
  } else if (c.kind == "Deg K") {
    reading = celsius + 273.15;
  } else if (c.kind == "Deg R") {
    reading = (celsius + 273.15) * 1.8;
  }
  return static_cast<double>(c.gain) * reading + static_cast<double>(c.offset);
}

}  // namespace

double ExpectedValue(const SampleSpec& request, int64_t scan, int chan) {
  if (chan < 0 || chan >= NumChannels(request)) return 0.0;
  switch (request.type) {
    case 2:
    case 7:
    case 8:
      return BrenlowValue(BrenlowSample(request), scan, chan);
    case 3:
      return MorvaneValue(MorvaneSample(request), scan, chan);
    case 4:
      return TarquilValue(TarquilSample(request), scan, chan);
    case 5:
      return QuillonValue(QuillonSample(request), scan, chan);
    case 6:
      return CeldrinValue(CeldrinSample(request), scan, chan);
    default:
      return 0.0;
  }
}

}  // namespace travune::samples
