// Morvane source: parses the three description forms, lays out the raw words of a scan
// (one-word channels, then four-word channels, then the first-channel exchange) and scales them.
#include "source/SrcFmtMorvane.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "source/BulkScaling.h"
#include "source/DriverLibrary.h"
#include "source/Linear.h"
#include "support/LittleEndian.h"
#include "support/Time.h"

namespace travune {

namespace {

// Channel types.
enum : int32_t {
  kVolts10 = 0,
  kThermocouplePair = 1,
  kRtd4Wire = 2,
  kReferenceWide = 3,
  kReference4 = 4,
  kReference5 = 5,
  kVolts20 = 7,
  kDigital8 = 8,
  kDigital16 = 9,
  kCounter16 = 10,
  kVoltsGained = 11,
  kThermocouple13 = 13,
  kThermocouple14 = 14,
};

constexpr int kWideWords = 4;

// True for the channel types whose word scales by the channel's factors alone: no driver call,
// no reference word to keep.
bool ScalesByFactors(int32_t type) {
  switch (type) {
    case kThermocouplePair:
    case kRtd4Wire:
    case kReferenceWide:
    case kReference4:
    case kReference5:
    case kThermocouple13:
    case kThermocouple14:
      return false;
    default:
      return true;
  }
}

struct FormLayout {
  int32_t form;
  size_t headerSize;
  size_t recordSize;
};

constexpr FormLayout kForm1 = {1, 32, 56};
constexpr FormLayout kForm2 = {2, 22, 40};
constexpr FormLayout kForm3 = {3, 16, 40};

// Reads the header of whichever form the first word announces; false for an unknown first
// word or a short image.
bool ReadHeader(DescReader& reader, MorvaneHeader* h, FormLayout* layout) {
  uint32_t first = 0;
  if (!reader.ReadU32(&first)) return false;
  reader.Seek(0);
  if (first == static_cast<uint32_t>(kMorvaneVersion)) {
    *layout = kForm1;
    uint32_t rate = 0;
    const bool ok = reader.ReadI32(&h->version) && reader.ReadI32(&h->numChans) && reader.ReadU32(&h->progScans) &&
                    reader.ReadU32(&h->preTrigCount) && reader.ReadI32(&h->word4) && reader.ReadI32(&h->word5) &&
                    reader.ReadI32(&h->firstChannel) && reader.ReadU32(&rate);
    std::memcpy(&h->scanRate, &rate, 4);
    return ok;
  }
  if (first <= 0xFFFFu) return false;
  int16_t version = 1, numChans = 0, word4 = 0, word5 = 0, firstChannel = 0;
  bool ok = true;
  if ((first & 0xFFFFu) == static_cast<uint32_t>(kMorvaneVersion)) {
    *layout = kForm2;
    ok = reader.ReadI16(&version) && reader.ReadI16(&numChans) && reader.ReadU32(&h->progScans) &&
         reader.ReadU32(&h->preTrigCount);
  } else {
    *layout = kForm3;
    ok = reader.ReadI16(&numChans) && reader.ReadU32(&h->progScans);
    h->preTrigCount = 0;
  }
  ok = ok && reader.ReadI16(&word4) && reader.ReadI16(&word5) && reader.ReadI16(&firstChannel) &&
       reader.ReadF32(&h->scanRate);
  h->version = version;
  h->numChans = numChans;
  h->word4 = word4;
  h->word5 = word5;
  h->firstChannel = firstChannel;
  return ok;
}

bool SizeMatches(size_t size, const FormLayout& layout, int32_t numChans) {
  if (numChans < 0) return false;
  const uint64_t expected = layout.headerSize + static_cast<uint64_t>(numChans) * layout.recordSize;
  return expected == size;
}

// Copies a fixed-size text field, stopping at its terminator and after at most maxChars.
void CopyText(char* dst, const uint8_t* src, size_t fieldSize, size_t maxChars) {
  size_t n = 0;
  while (n < fieldSize && n < maxChars && src[n] != 0) {
    dst[n] = static_cast<char>(src[n]);
    ++n;
  }
  dst[n] = '\0';
}

MorvaneChannel DecodeCurrentRecord(const uint8_t* p) {
  MorvaneChannel c;
  c.gain = le::F32(p + 0);
  c.word1 = le::I32(p + 4);
  c.type = le::I32(p + 8);
  c.word3 = le::I32(p + 12);
  c.scale = le::F32(p + 16);
  c.offset = le::F32(p + 20);
  c.polarity = le::I32(p + 24);
  c.deviceCode = le::I32(p + 28);
  CopyText(c.label, p + 32, 12, 12);
  CopyText(c.units, p + 44, 12, 12);
  return c;
}

MorvaneChannel DecodeOldRecord(const uint8_t* p) {
  MorvaneChannel c;
  c.gain = le::F32(p + 0);
  c.word1 = le::I16(p + 4);
  c.type = le::I16(p + 6);
  c.word3 = le::I16(p + 8);
  c.scale = le::F32(p + 10);
  c.offset = le::F32(p + 14);
  c.polarity = le::I16(p + 18);
  CopyText(c.label, p + 20, 9, 8);
  CopyText(c.units, p + 29, 9, 8);
  c.deviceCode = le::I16(p + 38);
  return c;
}

MorvaneHeader DecodeCurrentHeader(const uint8_t* p) {
  MorvaneHeader h;
  h.version = le::I32(p + 0);
  h.numChans = le::I32(p + 4);
  h.progScans = le::U32(p + 8);
  h.preTrigCount = le::U32(p + 12);
  h.word4 = le::I32(p + 16);
  h.word5 = le::I32(p + 20);
  h.firstChannel = le::I32(p + 24);
  h.scanRate = le::F32(p + 28);
  return h;
}

// The driver takes the gain as an integer, truncated toward zero.
int32_t TruncatedGain(float gain) {
  if (!(gain > -2147483648.0f && gain < 2147483648.0f)) return 0;
  return static_cast<int32_t>(gain);
}

// The header of the count constructor: only numChans and one programmed scan.
std::array<uint8_t, kMorvaneHeaderSize> CountOnlyHeader(int32_t numChans) {
  std::array<uint8_t, kMorvaneHeaderSize> header{};
  le::PutI32(header.data() + 4, numChans);
  le::PutU32(header.data() + 8, 1);
  return header;
}

}  // namespace

bool IsMorvaneDescription(DescReader& reader) {
  reader.Seek(0);
  MorvaneHeader header;
  FormLayout layout{};
  const bool ok = ReadHeader(reader, &header, &layout) && SizeMatches(reader.Size(), layout, header.numChans);
  reader.Seek(0);
  return ok;
}

SrcFmtMorvane::SrcFmtMorvane(const uint8_t* image, size_t size) {
  if (!Parse(image, size)) {
    SetStatus(-1);
    return;
  }
  FinishOrFail();
}

SrcFmtMorvane::SrcFmtMorvane(const uint8_t* header, const uint8_t* channelRecords) {
  if (header == nullptr) {
    SetStatus(-1);
    return;
  }
  header_ = DecodeCurrentHeader(header);
  headerForm_ = 1;
  if (header_.numChans < 0 || (header_.numChans > 0 && channelRecords == nullptr)) {
    SetStatus(-1);
    return;
  }
  try {
    channels_.reserve(static_cast<size_t>(header_.numChans));
    for (int32_t i = 0; i < header_.numChans; ++i) {
      channels_.push_back(DecodeCurrentRecord(channelRecords + static_cast<size_t>(i) * kMorvaneChannelSize));
    }
  } catch (const std::bad_alloc&) {
    SetStatus(-1);
    return;
  }
  FinishOrFail();
}

SrcFmtMorvane::SrcFmtMorvane(int32_t numChans, const uint8_t* channelRecords)
    : SrcFmtMorvane(CountOnlyHeader(numChans).data(), channelRecords) {}

SrcFmtMorvane::~SrcFmtMorvane() = default;

void SrcFmtMorvane::FinishOrFail() {
  if (!Finish()) SetStatus(-1);
}

bool SrcFmtMorvane::Parse(const uint8_t* image, size_t size) {
  DescReader reader(image, size);
  if (!IsMorvaneDescription(reader)) return false;
  FormLayout layout{};
  if (!ReadHeader(reader, &header_, &layout)) return false;
  headerForm_ = layout.form;
  const uint8_t* records = image + layout.headerSize;
  try {
    channels_.reserve(static_cast<size_t>(header_.numChans));
    for (int32_t i = 0; i < header_.numChans; ++i) {
      const uint8_t* p = records + static_cast<size_t>(i) * layout.recordSize;
      channels_.push_back(layout.form == 1 ? DecodeCurrentRecord(p) : DecodeOldRecord(p));
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

bool SrcFmtMorvane::Finish() {
  try {
    BuildRawIndex();
    scaling_.resize(channels_.size());
    BuildThermocoupleCodeCaches();
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (size_t i = 0; i < channels_.size(); ++i) {
    scaling_[i] = ComputeScaling(channels_[i], static_cast<int32_t>(i));
  }
  InitTimeFormat();
  return true;
}

// A cache grows to 256 KiB when its channel meets every code: the first few such channels get
// one, later ones ask the driver every time, so that no data file makes the source large.
void SrcFmtMorvane::BuildThermocoupleCodeCaches() {
  constexpr size_t kMaxCaches = 16;
  codeCaches_.resize(channels_.size());
  for (size_t i = 0, built = 0; i < channels_.size() && built < kMaxCaches; ++i) {
    const MorvaneChannel& c = channels_[i];
    if (c.type == kThermocouple13 || c.type == kThermocouple14) {
      ++built;
      codeCaches_[i] = std::make_unique<ThermocoupleCodeCache>(TruncatedGain(c.gain), c.polarity);
    }
  }
}

void SrcFmtMorvane::BuildRawIndex() {
  const int64_t n = header_.numChans;
  wideCount_ = 0;
  for (const MorvaneChannel& c : channels_) wideCount_ += c.type == kRtd4Wire ? 1 : 0;
  rawIndex_.resize(channels_.size());
  int64_t widesBefore = 0;
  for (int64_t i = 0; i < n; ++i) {
    if (channels_[static_cast<size_t>(i)].type == kRtd4Wire) {
      rawIndex_[static_cast<size_t>(i)] = (n - wideCount_) + kWideWords * widesBefore;
      ++widesBefore;
    } else {
      rawIndex_[static_cast<size_t>(i)] = i - widesBefore;
    }
  }
  const int64_t exchanged = static_cast<int64_t>(header_.firstChannel) - 1;
  if (exchanged >= 1 && exchanged <= n - 1) std::swap(rawIndex_[0], rawIndex_[static_cast<size_t>(exchanged)]);
  scanSize_ = n > 0 ? 2 * ((n - wideCount_) + kWideWords * static_cast<int64_t>(wideCount_)) : -1;
}

bool SrcFmtMorvane::IsKnownChannel(int32_t chan) const {
  return chan >= 0 && static_cast<size_t>(chan) < channels_.size();
}

bool SrcFmtMorvane::GetChanRange(int32_t chan, double* lower, double* upper) const {
  if (!IsKnownChannel(chan)) return false;
  const MorvaneChannel& c = channels_[static_cast<size_t>(chan)];
  const double scale = c.scale;
  const double offset = c.offset;
  const double g = c.gain == 0.0f ? 1.0 : static_cast<double>(c.gain);
  switch (c.type) {
    case kVolts10:
    case kVolts20: {
      const double span = c.type == kVolts10 ? 10.0 : 20.0;
      const double s = span * (c.polarity != 0 ? 0.5 : 1.0) / g;
      *lower = offset + scale * (c.polarity != 0 ? -s : 0.0);
      *upper = offset + scale * s;
      return true;
    }
    case kDigital8:
      *lower = offset;
      *upper = offset + scale * 255.0;
      return true;
    case kDigital16:
    case kCounter16:
      *lower = offset;
      *upper = offset + scale * 65535.0;
      return true;
    case kVoltsGained:
      *lower = offset;
      *upper = offset + scale * 65535.0 / g;
      return true;
    default:
      *lower = 0.0;
      *upper = 1.0;
      return true;
  }
}

SrcFmtMorvane::Scaling SrcFmtMorvane::ComputeScaling(const MorvaneChannel& c, int32_t chan) const {
  Scaling s{c.scale, c.offset};
  const bool bipolar = c.polarity != 0;
  switch (c.type) {
    case kVolts10:
    case kVolts20:
    case kVoltsGained: {
      double lower = 0.0, upper = 0.0;
      GetChanRange(chan, &lower, &upper);
      s.m = (upper - lower) / 65535.0;
      s.b = lower;
      break;
    }
    case kThermocouplePair:
    case kRtd4Wire:
    case kThermocouple13:
    case kThermocouple14:
      s.m = static_cast<double>(c.scale) * 0.1;
      break;
    case kReferenceWide:
      if (bipolar) {
        ComposeLinear(&s.m, &s.b, 205.0 / 65536.0, -102.5);
      } else {
        ComposeLinear(&s.m, &s.b, 102.5 / 65536.0, 0.0);
      }
      break;
    case kReference4:
      if (bipolar) {
        ComposeLinear(&s.m, &s.b, 100.0 / 65536.0, -50.0);
      } else {
        ComposeLinear(&s.m, &s.b, (200.0 / 3.0) / 65536.0, 0.0);
      }
      break;
    case kReference5:
      if (bipolar) {
        ComposeLinear(&s.m, &s.b, 100.0 / 65536.0, -50.0);
      } else {
        ComposeLinear(&s.m, &s.b, 50.0 / 65536.0, 0.0);
      }
      break;
    default:
      break;
  }
  return s;
}

const char* SrcFmtMorvane::GetChanLabel(int32_t chan) const {
  if (!IsKnownChannel(chan)) return "<err>";
  const MorvaneChannel& c = channels_[static_cast<size_t>(chan)];
  if (c.deviceCode == kMorvaneHighSpeedDigital && c.label[0] == '\0') return "HSDI";
  return c.label;
}

const char* SrcFmtMorvane::GetChanUnits(int32_t chan) const {
  if (!IsKnownChannel(chan)) return "<err>";
  return channels_[static_cast<size_t>(chan)].units;
}

int32_t SrcFmtMorvane::GetChanPrecision(int32_t chan) const {
  if (!IsKnownChannel(chan)) return -1;
  const int32_t type = channels_[static_cast<size_t>(chan)].type;
  return (type == kDigital8 || type == kDigital16 || type == kCounter16) ? 0 : 4;
}

bool SrcFmtMorvane::HasValidChannelRecords() const {
  for (const MorvaneChannel& c : channels_) {
    if (c.type < kVolts10 || c.type > kThermocouple14) return false;
    if (!std::isfinite(c.gain) || !std::isfinite(c.scale) || !std::isfinite(c.offset)) return false;
  }
  return true;
}

const char* SrcFmtMorvane::GetDescVersion() const {
  std::snprintf(versionText_, sizeof versionText_, "%d", header_.version);
  return versionText_;
}

bool SrcFmtMorvane::GetNativeScanTime(int64_t scan, double* out) {
  // Without a rate the scans have no time.
  const double rate = header_.scanRate;
  if (!(rate != 0.0) || !std::isfinite(rate)) return false;
  const double seconds = static_cast<double>(scan - static_cast<int64_t>(header_.preTrigCount)) / rate;
  *out = SecondsToDays(seconds);
  return true;
}

const uint8_t* SrcFmtMorvane::GetRawSample(int64_t scan, int32_t chan) const {
  if (!IsKnownChannel(chan)) return kZeroSample;
  return RawSampleAt(scan, rawIndex_[static_cast<size_t>(chan)]);
}

double SrcFmtMorvane::ScaleSample(int32_t chan, const uint8_t* raw) const {
  if (!IsKnownChannel(chan)) return 0.0;
  return ScaleKnown(static_cast<size_t>(chan), raw);
}

double SrcFmtMorvane::ScaleKnown(size_t chan, const uint8_t* raw) const {
  const MorvaneChannel& c = channels_[chan];
  const Scaling& s = scaling_[chan];
  const uint16_t w = le::U16(raw);
  switch (c.type) {
    case kThermocouplePair: {
      uint8_t pair[4];
      le::PutU16(pair, lastReferenceWord_);
      le::PutU16(pair + 2, w);
      const int16_t out = DriverThermocouple(TruncatedGain(c.gain), c.polarity, pair, 2);
      return out * s.m + s.b;
    }
    case kRtd4Wire:
      return DriverRtd(TruncatedGain(c.gain), raw) * s.m + s.b;
    case kReferenceWide:
    case kReference4:
    case kReference5:
      lastReferenceWord_ = w;
      return w * s.m + s.b;
    case kThermocouple13:
    case kThermocouple14: {
      lastReferenceWord_ = w;
      const int16_t out = codeCaches_[chan] ? codeCaches_[chan]->TenthsAt(raw)
                                            : DriverThermocouple(TruncatedGain(c.gain), c.polarity, raw, 1);
      return out * s.m + s.b;
    }
    default:
      return w * s.m + s.b;
  }
}

void SrcFmtMorvane::ScaleScans(int64_t firstScan, int64_t scans, double* out) const {
  if (!BlockSet() || Block() == nullptr) {
    SrcFmt::ScaleScans(firstScan, scans, out);
    return;
  }
  const uint8_t* first = RawSampleAt(firstScan, 0);
  const int32_t chans = static_cast<int32_t>(channels_.size());
  const auto byFactors = [](const MorvaneChannel& c) { return ScalesByFactors(c.type); };
  if (std::all_of(channels_.begin(), channels_.end(), byFactors)) {
    // No driver call and no reference word: each word by its channel's factors, as ScaleKnown does.
    ScaleEachScan(first, scanSize_, scans, chans, out, [this](int32_t chan, const uint8_t* scan) {
      const size_t c = static_cast<size_t>(chan);
      return le::U16(scan + 2 * rawIndex_[c]) * scaling_[c].m + scaling_[c].b;
    });
    return;
  }
  // Channel order within each scan keeps the reference word of every type-1 channel right.
  ScaleEachScan(first, scanSize_, scans, chans, out, [this](int32_t chan, const uint8_t* scan) {
    const size_t c = static_cast<size_t>(chan);
    return ScaleKnown(c, scan + 2 * rawIndex_[c]);
  });
}

}  // namespace travune
