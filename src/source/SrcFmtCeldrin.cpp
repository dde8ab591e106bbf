// Celdrin descriptions: keyword header and channel list, gain and temperature scaling of the
// 16-bit samples, clock stamps at the head of each scan or scan times from three rates.
#include "source/SrcFmtCeldrin.h"

#include <algorithm>
#include <new>

#include "source/BulkScaling.h"
#include "source/Linear.h"
#include "support/LittleEndian.h"
#include "support/Time.h"

namespace travune {

namespace {

// The largest sample position a channel line may give: keeps a scan within 128 KiB.
constexpr int32_t kMaxPosition = 65535;
// A first channel at this position leaves words 0 to 4 of each scan for the clock stamp.
constexpr int32_t kStampedFirstPosition = 5;
constexpr const char* kErrorText = "<err>";

// Temperature channels count tenths of a degree Celsius; their kind names the unit shown.
struct TemperatureKind {
  const char* kind;
  double scale;
  double shift;
};

constexpr TemperatureKind kTemperatureKinds[] = {
    {"Deg C", 0.1, 0.0},
    {"Deg F", 0.18, 32.0},
    {"Deg K", 0.1, 273.15},
    {"Deg R", 0.18, 491.67},
};

bool IsDigitalKind(const std::string& kind) { return kind == "DIGITAL"; }

// The calendar fields of a 10-byte clock stamp: hour, minute, second, microseconds (u32),
// month 1-12, day, year modulo 100 (0-90: 2000 on, 91-99: 1991 on).
CalendarTime StampCalendar(const uint8_t* stamp) {
  CalendarTime t;
  t.hour = stamp[0];
  t.minute = stamp[1];
  t.second = stamp[2];
  t.month = static_cast<int32_t>(stamp[7]) - 1;
  t.dayOfMonth = stamp[8];
  t.year = stamp[9] <= 90 ? stamp[9] + 100 : stamp[9];
  return t;
}

}  // namespace

SrcFmtCeldrin::SrcFmtCeldrin(const uint8_t* image, size_t size, const char* listSeparator, int64_t dataFileSize)
    : dataBytes_(dataFileSize) {
  bool parsed = false;
  try {
    listSeparator_.Assign(listSeparator != nullptr ? listSeparator : ",");
    parsed = !listSeparator_.IsEmpty() && Parse(image, size);
  } catch (const std::bad_alloc&) {
    parsed = false;
  }
  if (!parsed) {
    SetStatus(-1);
    return;
  }
  InitTimeFormat();
}

SrcFmtCeldrin::~SrcFmtCeldrin() = default;

bool SrcFmtCeldrin::Parse(const uint8_t* image, size_t size) {
  DescReader reader(image, size);
  if (!IsKeywordDescription(reader)) return false;
  if (!ParseKeywordHeader(reader, &header_, listSeparator_.c_str())) return false;
  // The channel list is read with the separator the header left in force.
  reader.Seek(0);
  if (!FindChannelSection(reader) || !ParseChannels(reader) || !CheckPositions()) return false;
  BuildScaling();
  return true;
}

bool SrcFmtCeldrin::ParseChannels(DescReader& reader) {
  if (header_.numChans <= 0) return false;
  channels_.resize(static_cast<size_t>(header_.numChans));
  for (KeywordChannel& channel : channels_) ParseChannelLine(reader, &channel);
  return true;
}

// A scan holds the words up to the last channel's position; every channel must lie inside it.
bool SrcFmtCeldrin::CheckPositions() {
  samplesPerScan_ = static_cast<int64_t>(channels_.back().position) + 1;
  return std::all_of(channels_.begin(), channels_.end(), [this](const KeywordChannel& channel) {
    return channel.position >= 0 && channel.position <= kMaxPosition && channel.position < samplesPerScan_;
  });
}

void SrcFmtCeldrin::ChannelFactors(const KeywordChannel& channel, double* mc, double* bc) const {
  double scale = 1.0 / static_cast<double>(channel.countsPerUnit);
  double shift = 0.0;
  for (const TemperatureKind& temperature : kTemperatureKinds) {
    if (channel.kind == temperature.kind) {
      scale = temperature.scale;
      shift = temperature.shift;
    }
  }
  const double gain = channel.gain;
  *mc = gain * scale;
  *bc = gain * shift + static_cast<double>(channel.offset);
}

// One line through the channel's range per channel: raw counts from -32768 to 32767 (0 to
// 65535 for a digital channel) map onto lower to upper.
void SrcFmtCeldrin::BuildScaling() {
  scaling_.resize(channels_.size());
  wordFactors_ = {};
  for (int32_t chan = 0; chan < header_.numChans; ++chan) {
    Scaling& scaling = scaling_[static_cast<size_t>(chan)];
    const bool digital = IsDigitalKind(channels_[static_cast<size_t>(chan)].kind);
    scaling.wrap = digital ? 65536.0 : 0.0;
    scaling.rawOffset = 2 * static_cast<int64_t>(channels_[static_cast<size_t>(chan)].position);
    const double x1 = digital ? 0.0 : -32768.0;
    const double x2 = digital ? 65535.0 : 32767.0;
    double lower = 0.0;
    double upper = 0.0;
    GetChanRange(chan, &lower, &upper);
    LinearFromPoints(&scaling.m, &scaling.b, x1, x2, lower, upper);
    wordFactors_.Add(scaling.wrap, scaling.m, scaling.b);
  }
  wordRuns_ = FindAdjacentChannels(header_.numChans, 2, [this](int32_t chan) {
    return scaling_[static_cast<size_t>(chan)].rawOffset;
  });
}

int64_t SrcFmtCeldrin::GetNumProgScans() const {
  const int64_t scanSize = GetScanSize();
  if (scanSize <= 0 || dataBytes_ <= 0) return 0;
  return dataBytes_ / scanSize;
}

bool SrcFmtCeldrin::GetChanRange(int32_t chan, double* lower, double* upper) const {
  if (!IsChannel(chan)) return false;
  double mc = 0.0;
  double bc = 0.0;
  ChannelFactors(channels_[static_cast<size_t>(chan)], &mc, &bc);
  *lower = bc - 32768.0 * mc;
  *upper = 32767.0 * mc + bc;
  return true;
}

const char* SrcFmtCeldrin::GetChanLabel(int32_t chan) const {
  return IsChannel(chan) ? channels_[static_cast<size_t>(chan)].label.c_str() : kErrorText;
}

const char* SrcFmtCeldrin::GetChanUnits(int32_t chan) const {
  return IsChannel(chan) ? channels_[static_cast<size_t>(chan)].units.c_str() : kErrorText;
}

int32_t SrcFmtCeldrin::GetChanPrecision(int32_t chan) const {
  if (!IsChannel(chan)) return 0;
  return IsDigitalKind(channels_[static_cast<size_t>(chan)].kind) ? 0 : 4;
}

double SrcFmtCeldrin::GetPreTrigRate() const {
  const double rate = header_.preTrigCount >= 1 ? header_.preTrigRate : GetPostTrigRate();
  return rate == 0.0 ? 1.0 : rate;
}

double SrcFmtCeldrin::GetPostTrigRate() const { return header_.postTrigRate == 0.0 ? 1.0 : header_.postTrigRate; }

bool SrcFmtCeldrin::HasClockStamps() const {
  return header_.numChans >= 1 && channels_.front().position == kStampedFirstPosition;
}

void SrcFmtCeldrin::InitTimeFormat() {
  SrcFmt::InitTimeFormat();
  native_.absolute = HasClockStamps();
  native_.stampsInData = HasClockStamps();
}

const uint8_t* SrcFmtCeldrin::GetRawSample(int64_t scan, int32_t chan) const {
  if (!IsChannel(chan)) return kZeroSample;
  return RawSampleAt(scan, channels_[static_cast<size_t>(chan)].position);
}

double SrcFmtCeldrin::ScaleSample(int32_t chan, const uint8_t* raw) const {
  if (!IsChannel(chan)) return 0.0;
  return ScaleWord(scaling_[static_cast<size_t>(chan)], raw);
}

double SrcFmtCeldrin::ScaleWord(const Scaling& scaling, const uint8_t* raw) {
  double value = 0.0;
  ScaleWordSamples(raw, &scaling.wrap, &scaling.m, &scaling.b, 1, &value);
  return value;
}

void SrcFmtCeldrin::ScaleScans(int64_t firstScan, int64_t scans, double* out) const {
  if (!BlockSet() || Block() == nullptr) {
    SrcFmt::ScaleScans(firstScan, scans, out);
    return;
  }
  ScaleEachScanByRuns(RawSampleAt(firstScan, 0), GetScanSize(), scans, header_.numChans, wordRuns_, out,
                      [this](const AdjacentChannels& run, const uint8_t* raw, double* values) {
                        wordFactors_.ScaleRun(run, raw, values);
                      });
}

bool SrcFmtCeldrin::GetNativeScanTime(int64_t scan, double* out) {
  if (native_.absolute) {
    *out = ClockStampTime(scan);
    return true;
  }
  *out = RateBasedTime(scan);
  if (scan == 0) SetFirstScanTime(*out);
  return true;
}

// The stamp fills the words before the first channel's sample (position 5): the scan's first
// 10 bytes. Without a raw block the zero sample stands in for them.
double SrcFmtCeldrin::ClockStampTime(int64_t scan) const {
  const uint8_t* stamp = RawSampleAt(scan, 0);
  double days = 0.0;
  CalendarToDays(StampCalendar(stamp), &days);
  const double microseconds = le::U32(stamp + 3);
  return days + SecondsToDays(microseconds * 1e-6);
}

// Pre-trigger and post-stop scans run at the pre-trigger rate, the scans between at the
// post-trigger rate; the trigger scan is time 0.
double SrcFmtCeldrin::RateBasedTime(int64_t scan) const {
  const int64_t preTrig = GetPreTrigCount();
  const double preRate = GetPreTrigRate();
  const double postRate = GetPostTrigRate();
  const int64_t postStopStart = GetNumScans() - header_.postStopCount;
  double seconds = 0.0;
  if (preTrig > 0) seconds = static_cast<double>(std::min(scan, preTrig)) / preRate;
  if (scan > preTrig) seconds += static_cast<double>(std::min(scan, postStopStart) - preTrig) / postRate;
  if (scan > postStopStart) seconds += static_cast<double>(scan - postStopStart) / preRate;
  if (preTrig > 0) seconds -= static_cast<double>(preTrig) / preRate;
  return SecondsToDays(seconds);
}

}  // namespace travune
