// Tarquil source: parses the fixed-size description, derives each channel's scale factors from
// its range word and flags, and lays out and unpacks blocks of packed 12-bit samples.
#include "source/SrcFmtTarquil.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>

#include "source/BulkScaling.h"
#include "source/DriverLibrary.h"
#include "source/Linear.h"
#include "support/LittleEndian.h"
#include "support/TextUtil.h"
#include "support/Time.h"

namespace travune {

namespace {

constexpr size_t kFieldTextSize = 9;
constexpr int64_t kSamplesPerGroup = 4;
constexpr int64_t kBytesPerGroup = 6;
constexpr int64_t kUnpackedBytesPerGroup = 8;
// Bytes of a packed block's buffer kept free so that unpacking in place has room: a block's
// unpacked words span at most six samples more than its scans (three before the first scan's
// first sample, three after the last scan's last one).
constexpr int64_t kUnpackRoom = 12;
// The driver takes 32-bit sample counts: at most this many groups are handed over per call.
constexpr int64_t kUnpackChunkGroups = int64_t{1} << 28;

bool ReadHeader(DescReader& reader, TarquilHeader* h) {
  return reader.ReadU16(&h->numChans) && reader.ReadU32(&h->progScans) && reader.ReadU32(&h->word6) &&
         reader.ReadF32(&h->preTrigRate) && reader.ReadF32(&h->postTrigRate) && reader.ReadI32(&h->preTrigCount) &&
         reader.ReadU32(&h->packed);
}

// Reads a zero-terminated text field of fixed size; an unterminated field keeps all its bytes.
bool ReadFieldText(DescReader& reader, char* dst) {
  uint8_t field[kFieldTextSize];
  if (reader.Read(field, sizeof field) != sizeof field) return false;
  size_t n = 0;
  while (n < sizeof field && field[n] != 0) {
    dst[n] = static_cast<char>(field[n]);
    ++n;
  }
  dst[n] = '\0';
  return true;
}

bool ReadChannel(DescReader& reader, TarquilChannel* c) {
  return reader.ReadU32(&c->rangeWord) && reader.ReadF32(&c->userScale) && reader.ReadF32(&c->userOffset) &&
         reader.ReadU32(&c->flags) && reader.ReadF32(&c->altOffset) && ReadFieldText(reader, c->label) &&
         ReadFieldText(reader, c->units);
}

bool HasFlag(const TarquilChannel& c, uint32_t flag) { return (c.flags & flag) != 0; }

double RangeWordAsFloat(const TarquilChannel& c) {
  float f = 0.0f;
  std::memcpy(&f, &c.rangeWord, sizeof f);
  return f;
}

// The raw counts a channel spans: lo ... hi.
void RawRange(const TarquilChannel& c, double* lo, double* hi) {
  *hi = HasFlag(c, kTarquilUnsigned) ? 65535.0 : 32767.0;
  *lo = *hi - 65535.0;
  if (HasFlag(c, kTarquilReciprocal) && *lo == 0.0) *lo = 1.0;
}

double NonZeroRate(float rate) { return rate == 0.0f ? 1.0 : static_cast<double>(rate); }

uint32_t ClampToUnsigned(double r) {
  if (!(r > 0.0)) return 0;
  if (r >= 4294967295.0) return 4294967295u;
  return static_cast<uint32_t>(r);
}

uint32_t ClampToSigned(double r) {
  if (std::isnan(r)) return 0;
  int32_t v = 0;
  if (r >= 2147483647.0) {
    v = 2147483647;
  } else if (r <= -2147483648.0) {
    v = static_cast<int32_t>(-2147483647 - 1);
  } else {
    v = static_cast<int32_t>(r);
  }
  return static_cast<uint32_t>(v);
}

// The six-byte groups that hold the n samples from sample s0 on.
int64_t GroupsSpanned(int64_t s0, int64_t n) {
  if (n <= 0) return 0;
  const int64_t last = s0 + n - 1;
  return (s0 % kSamplesPerGroup - last % kSamplesPerGroup + n + kSamplesPerGroup - 1) / kSamplesPerGroup;
}

// The header of the count constructor: only numChans and one programmed scan.
std::array<uint8_t, kTarquilHeaderSize> CountOnlyHeader(int32_t numChans) {
  std::array<uint8_t, kTarquilHeaderSize> header{};
  le::PutU16(header.data(), static_cast<uint16_t>(numChans));
  le::PutU32(header.data() + 2, 1);
  return header;
}

}  // namespace

bool IsTarquilDescription(DescReader& reader) {
  reader.Seek(0);
  uint16_t numChans = 0;
  const size_t size = reader.Size();
  const size_t fixed = kTarquilHeaderSize + kTarquilTrailerSize;
  const bool ok = reader.ReadU16(&numChans) && size >= fixed && (size - fixed) % kTarquilChannelSize == 0 &&
                  (size - fixed) / kTarquilChannelSize == numChans;
  reader.Seek(0);
  return ok;
}

void UnpackTarquilGroups(uint8_t* block, int64_t groups, int64_t chunkGroups) {
  if (block == nullptr || groups <= 0 || chunkGroups <= 0) return;
  // The last chunk first: its packed bytes move up to where its words go, above every packed
  // byte of the chunks before it, so each chunk unpacks in place without touching the others.
  int64_t first = (groups - 1) / chunkGroups * chunkGroups;
  for (;;) {
    const int64_t count = std::min(chunkGroups, groups - first);
    uint8_t* target = block + first * kUnpackedBytesPerGroup;
    if (first > 0) std::memmove(target, block + first * kBytesPerGroup, static_cast<size_t>(count * kBytesPerGroup));
    DriverUnpack12(target, static_cast<int32_t>(count * kSamplesPerGroup), 1);
    if (first == 0) break;
    first -= chunkGroups;
  }
}

SrcFmtTarquil::SrcFmtTarquil(const uint8_t* image, size_t size) { ParseOrFail(Parse(image, size)); }

SrcFmtTarquil::SrcFmtTarquil(const uint8_t* header26, const uint8_t* channelRecords) {
  ParseOrFail(header26 != nullptr && CopyRecords(header26, channelRecords));
}

SrcFmtTarquil::SrcFmtTarquil(int32_t numChans, const uint8_t* channelRecords) {
  const bool countFits = numChans >= 0 && numChans <= 0xFFFF;
  ParseOrFail(countFits && CopyRecords(CountOnlyHeader(numChans).data(), channelRecords));
}

SrcFmtTarquil::~SrcFmtTarquil() = default;

void SrcFmtTarquil::ParseOrFail(bool parsed) {
  if (parsed && Finish()) return;
  // A failed source keeps no channels, so that no channel operation reaches a partial table.
  header_ = TarquilHeader{};
  channels_.clear();
  scaling_.clear();
  wordFactors_ = {};
  wholeScan_.clear();
  beyondFactors_.clear();
  SetStatus(-1);
}

bool SrcFmtTarquil::Parse(const uint8_t* image, size_t size) {
  DescReader reader(image, size);
  if (!IsTarquilDescription(reader)) return false;
  // The size check guarantees the header and numChans records behind it.
  return CopyRecords(image, image + kTarquilHeaderSize);
}

bool SrcFmtTarquil::CopyRecords(const uint8_t* header26, const uint8_t* channelRecords) {
  DescReader headerReader(header26, kTarquilHeaderSize);
  if (!ReadHeader(headerReader, &header_)) return false;
  if (header_.numChans > 0 && channelRecords == nullptr) return false;
  DescReader records(channelRecords, header_.numChans * kTarquilChannelSize);
  try {
    channels_.resize(header_.numChans);
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (TarquilChannel& c : channels_) {
    if (!ReadChannel(records, &c)) return false;
  }
  return true;
}

bool SrcFmtTarquil::Finish() {
  try {
    scaling_.resize(channels_.size());
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (size_t i = 0; i < channels_.size(); ++i) scaling_[i] = ComputeScaling(static_cast<int32_t>(i));
  try {
    for (size_t i = 0; i < scaling_.size(); ++i) {
      const Scaling& s = scaling_[i];
      wordFactors_.Add(s.unsignedRaw ? 65536.0 : 0.0, s.m, s.b);
      if (s.reciprocal || s.digital) beyondFactors_.push_back(static_cast<int32_t>(i));
    }
    wholeScan_ = {AdjacentChannels{0, GetNumChans(), 0}};
  } catch (const std::bad_alloc&) {
    return false;
  }
  InitTimeFormat();
  return true;
}

void SrcFmtTarquil::GetInputRange(const TarquilChannel& c, double* lower, double* upper) const {
  const bool alt = HasFlag(c, kTarquilAltLayout);
  double k = 0.0;
  double offset = 0.0;
  if (HasFlag(c, kTarquilExplicitScale)) {
    k = alt ? RangeWordAsFloat(c) : static_cast<double>(c.userScale);
    offset = alt ? static_cast<double>(c.altOffset) : static_cast<double>(c.userOffset);
  } else {
    const double gain = alt ? RangeWordAsFloat(c) : static_cast<double>(static_cast<int32_t>(c.rangeWord));
    k = 10.0 / (gain * 65536.0);
    offset = HasFlag(c, kTarquilBipolar) ? 0.0 : 32768.0 * k;
  }
  double lo = 0.0, hi = 0.0;
  RawRange(c, &lo, &hi);
  *lower = lo * k + offset;
  *upper = hi * k + offset;
}

bool SrcFmtTarquil::GetChanRange(int32_t chan, double* lower, double* upper) const {
  if (!IsKnownChannel(chan)) return false;
  const TarquilChannel& c = channels_[static_cast<size_t>(chan)];
  double low = 0.0, high = 0.0;
  GetInputRange(c, &low, &high);
  if (HasFlag(c, kTarquilReciprocal)) {
    const double invertedLow = 1.0 / (high == 0.0 ? 1.0 : high);
    const double invertedHigh = 1.0 / (low == 0.0 ? 1.0 : low);
    low = invertedLow;
    high = invertedHigh;
  }
  const double scale = c.userScale;
  const double offset = c.userOffset;
  *lower = scale * low + offset;
  *upper = scale * high + offset;
  return true;
}

SrcFmtTarquil::Scaling SrcFmtTarquil::ComputeScaling(int32_t chan) const {
  const TarquilChannel& c = channels_[static_cast<size_t>(chan)];
  Scaling s;
  s.unsignedRaw = HasFlag(c, kTarquilUnsigned);
  s.digital = HasFlag(c, kTarquilDigital);
  s.reciprocal = HasFlag(c, kTarquilReciprocal);
  double lo = 0.0, hi = 0.0, lower = 0.0, upper = 0.0;
  RawRange(c, &lo, &hi);
  if (s.reciprocal) {
    GetInputRange(c, &lower, &upper);
    s.recipScale = c.userScale;
    s.recipOffset = c.userOffset;
  } else {
    GetChanRange(chan, &lower, &upper);
  }
  LinearFromPoints(&s.m, &s.b, lo, hi, lower, upper);
  return s;
}

const char* SrcFmtTarquil::GetChanLabel(int32_t chan) const {
  return IsKnownChannel(chan) ? channels_[static_cast<size_t>(chan)].label : "<err>";
}

const char* SrcFmtTarquil::GetChanUnits(int32_t chan) const {
  return IsKnownChannel(chan) ? channels_[static_cast<size_t>(chan)].units : "<err>";
}

int32_t SrcFmtTarquil::GetChanPrecision(int32_t chan) const {
  if (!IsKnownChannel(chan)) return -1;
  return HasFlag(channels_[static_cast<size_t>(chan)], kTarquilDigital) ? 0 : 4;
}

double SrcFmtTarquil::GetPreTrigRate() const {
  return NonZeroRate(header_.preTrigCount > 0 ? header_.preTrigRate : header_.postTrigRate);
}

double SrcFmtTarquil::GetPostTrigRate() const { return NonZeroRate(header_.postTrigRate); }

bool SrcFmtTarquil::HasUniformRate() const { return !HasNoRates() && GetPreTrigRate() == GetPostTrigRate(); }

void SrcFmtTarquil::InitTimeFormat() {
  SrcFmt::InitTimeFormat();
  native_.timed = HasNoRates() ? 0 : 1;
}

bool SrcFmtTarquil::GetNativeScanTime(int64_t scan, double* out) {
  const int64_t trigger = header_.preTrigCount;
  if (!native_.timed) {
    *out = static_cast<double>(scan - trigger);
    return true;
  }
  const double preRate = header_.preTrigRate;
  const double postRate = header_.postTrigRate;
  double elapsed = 0.0;
  double beforeTrigger = 0.0;
  if (trigger > 0) {
    if (preRate == 0.0) return false;
    elapsed = static_cast<double>(std::min(scan, trigger)) / preRate;
    beforeTrigger = static_cast<double>(trigger) / preRate;
  }
  if (scan > trigger) {
    if (postRate == 0.0) return false;
    elapsed += static_cast<double>(scan - trigger) / postRate;
  }
  *out = SecondsToDays(elapsed - beforeTrigger);
  return true;
}

void SrcFmtTarquil::FitScansToBuffer(int64_t bufBytes, int64_t* scans, int64_t* bytes) const {
  if (!IsPacked()) {
    SrcFmt::FitScansToBuffer(bufBytes, scans, bytes);
    return;
  }
  SrcFmt::FitScansToBuffer(bufBytes, scans, nullptr);
  if (*scans > kSamplesPerGroup) *scans -= *scans % kSamplesPerGroup;
  if (bytes != nullptr) *bytes = RoundUpToMultiple(GetScanSize() * *scans * 3 / 4, kBytesPerGroup);
}

void SrcFmtTarquil::GetBlockLayout(int64_t bufBytes, int64_t* scans, int64_t* bytes, int64_t firstScan,
                                   int64_t* fileOffset) const {
  if (!IsPacked()) {
    SrcFmt::GetBlockLayout(bufBytes, scans, bytes, firstScan, fileOffset);
    return;
  }
  const int64_t scanSize = GetScanSize();
  const int64_t usable = bufBytes - bufBytes % 4 - kUnpackRoom;
  const int64_t fit = scanSize > 0 && usable > 0 ? usable / scanSize : 0;
  *scans = std::max<int64_t>(0, std::min(*scans, fit));
  const int64_t s0 = header_.numChans * firstScan;
  const int64_t n = header_.numChans * *scans;
  *fileOffset = s0 / kSamplesPerGroup * kBytesPerGroup;
  *bytes = kBytesPerGroup * GroupsSpanned(s0, n);
}

void SrcFmtTarquil::SetRawBlock(uint8_t* buffer, int64_t scans, int64_t firstScan) {
  SrcFmt::SetRawBlock(buffer, scans, firstScan);
  skew_ = 0;
  if (!IsPacked()) return;
  // Every sample of the groups read is unpacked, from the first group's start: the block's
  // first scan begins skew samples into it.
  skew_ = header_.numChans * firstScan % kSamplesPerGroup;
  const int64_t n = scans * header_.numChans;
  if (n <= 0) return;
  UnpackTarquilGroups(buffer, (skew_ + n + kSamplesPerGroup - 1) / kSamplesPerGroup, kUnpackChunkGroups);
}

const uint8_t* SrcFmtTarquil::GetRawSample(int64_t scan, int32_t chan) const {
  if (!IsKnownChannel(chan)) return kZeroSample;
  return RawSampleAt(scan, skew_ + chan);
}

double SrcFmtTarquil::ScaleSample(int32_t chan, const uint8_t* raw) const {
  if (!IsKnownChannel(chan)) return 0.0;
  return ScaleWord(scaling_[static_cast<size_t>(chan)], raw);
}

// A scan's words lie back to back in channel order; the block's first scan starts skew words in.
void SrcFmtTarquil::ScaleScans(int64_t firstScan, int64_t scans, double* out) const {
  if (!BlockSet() || Block() == nullptr) {
    SrcFmt::ScaleScans(firstScan, scans, out);
    return;
  }
  ScaleEachScanByRuns(RawSampleAt(firstScan, skew_), GetScanSize(), scans, GetNumChans(), wholeScan_, out,
                      [this](const AdjacentChannels& run, const uint8_t* raw, double* values) {
                        wordFactors_.ScaleRun(run, raw, values);
                        for (const int32_t chan : beyondFactors_) {
                          values[chan] = ScaleWord(scaling_[static_cast<size_t>(chan)], raw + 2 * chan);
                        }
                      });
}

double SrcFmtTarquil::ScaleWord(const Scaling& s, const uint8_t* raw) {
  double x = s.unsignedRaw ? static_cast<double>(le::U16(raw)) : static_cast<double>(le::I16(raw));
  if (s.reciprocal && x == 0.0) x = 1.0;
  double v = x * s.m + s.b;
  if (s.reciprocal) {
    if (v != 0.0) v = 1.0 / v;
    v = v * s.recipScale + s.recipOffset;
  }
  if (s.digital) v = std::floor(v);
  return v;
}

bool SrcFmtTarquil::CanUserToRaw(int32_t chan) const {
  return IsKnownChannel(chan) && !scaling_[static_cast<size_t>(chan)].reciprocal;
}

uint32_t SrcFmtTarquil::UserToRaw(int32_t chan, double value) const {
  if (!IsKnownChannel(chan)) return 0;
  const Scaling& s = scaling_[static_cast<size_t>(chan)];
  double v = value;
  if (s.reciprocal) {
    const double d = s.recipScale == 0.0 ? 1.0 : s.recipScale;
    double y = (v - s.recipOffset) / d;
    if (y != 0.0) y = 1.0 / y;
    v = y;
  }
  const double r = (v - s.b) / (s.m == 0.0 ? 1.0 : s.m);
  return s.unsignedRaw ? ClampToUnsigned(r) : ClampToSigned(r);
}

bool SrcFmtTarquil::HasValidChannelRecords() const {
  constexpr uint32_t kKnownFlags = kTarquilBipolar | kTarquilExplicitScale | kTarquilDigital | kTarquilUnsigned |
                                   kTarquilReciprocal | kTarquilAltLayout;
  for (const TarquilChannel& c : channels_) {
    if ((c.flags & ~kKnownFlags) != 0) return false;
    if (!std::isfinite(c.userScale) || !std::isfinite(c.userOffset) || !std::isfinite(c.altOffset)) return false;
  }
  return true;
}

}  // namespace travune
