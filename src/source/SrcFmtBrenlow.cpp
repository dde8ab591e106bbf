// Brenlow descriptions: header and channel records, the time-stamp record, clamped float
// samples and scan times from the rate or from the stamps stored in the data.
#include "source/SrcFmtBrenlow.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "platform/Platform.h"
#include "source/BulkScaling.h"
#include "support/LittleEndian.h"
#include "support/Time.h"

namespace travune {

namespace {

constexpr size_t kHeaderSize = 56;
constexpr size_t kRecordSize = 112;
constexpr int32_t kTimeStampType = 6;
// A time stamp spans three floats: low and high 16 bits of the seconds, 256ths of a second.
constexpr int32_t kStampFloats = 3;
// The Automation date of 1 January 1997, 00:00, where the stamps' seconds count from.
constexpr double kStampEpochDays = 35431.0;

// Copies a zero-terminated text field of width bytes; dst has room for width + 1.
void CopyTextField(char* dst, const uint8_t* field, size_t width) {
  std::memcpy(dst, field, width);
  dst[width] = '\0';
}

}  // namespace

bool IsBrenlowDescription(DescReader& reader) {
  reader.Seek(0);
  uint8_t header[kHeaderSize];
  const bool headerRead = reader.Read(header, sizeof(header)) == sizeof(header);
  reader.Seek(0);
  return headerRead && (reader.Size() - kHeaderSize) % kRecordSize == 0;
}

SrcFmtBrenlow::SrcFmtBrenlow(const uint8_t* image, size_t size) {
  if (!Parse(image, size)) {
    SetStatus(-1);
    return;
  }
  InitTimeFormat();
}

SrcFmtBrenlow::~SrcFmtBrenlow() = default;

bool SrcFmtBrenlow::Parse(const uint8_t* image, size_t size) {
  DescReader reader(image, size);
  if (!IsBrenlowDescription(reader)) return false;
  uint8_t header[kHeaderSize];
  reader.Read(header, sizeof(header));
  version_ = le::F64(header + 0);
  scanRate_ = le::F64(header + 8);
  numRecords_ = le::I32(header + 16);
  preTrigCount_ = le::I32(header + 20);
  progScans_ = le::I32(header + 24);
  // The scan size is 4 bytes per record: no records means no scans to count or divide by.
  if (numRecords_ <= 0 || static_cast<size_t>(numRecords_) > reader.BytesLeft() / kRecordSize) return false;

  records_.reset(new (std::nothrow) Record[static_cast<size_t>(numRecords_)]);
  userToRecord_.reset(new (std::nothrow) int32_t[static_cast<size_t>(numRecords_)]);
  if (!records_ || !userToRecord_) return false;
  for (int32_t i = 0; i < numRecords_; ++i) {
    uint8_t bytes[kRecordSize];
    reader.Read(bytes, sizeof(bytes));
    Record& record = records_[i];
    CopyTextField(record.label, bytes + 4, 16);
    CopyTextField(record.units, bytes + 20, 20);
    record.type = le::I32(bytes + 40);
    record.lower = le::F64(bytes + 72);
    record.upper = le::F64(bytes + 80);
  }
  MapUserChannels();
  return true;
}

// The first time-stamp record is the time source; every later one is skipped (it carries the
// rest of the stamp); all other records are user channels in record order.
void SrcFmtBrenlow::MapUserChannels() {
  numUser_ = 0;
  timeIndex_ = -1;
  userLower_.clear();
  userUpper_.clear();
  for (int32_t i = 0; i < numRecords_; ++i) {
    if (records_[i].type != kTimeStampType) {
      userToRecord_[numUser_++] = i;
      userLower_.push_back(records_[i].lower);
      userUpper_.push_back(records_[i].upper);
    } else if (timeIndex_ < 0) {
      timeIndex_ = i;
    }
  }
  userRuns_ = FindAdjacentChannels(numUser_, 4, [this](int32_t chan) { return int64_t{4} * userToRecord_[chan]; });
}

int64_t SrcFmtBrenlow::GetChanIndex(int32_t chan) const {
  if (chan >= 0 && chan < numUser_) return userToRecord_[chan];
  if (HasTimeStamp() && chan == timeIndex_) return timeIndex_;
  return -1;
}

const SrcFmtBrenlow::Record* SrcFmtBrenlow::ChanRecord(int32_t chan) const {
  const int64_t index = GetChanIndex(chan);
  return index < 0 ? nullptr : &records_[index];
}

int64_t SrcFmtBrenlow::GetNumProgScans() const { return progScans_ > 0 ? progScans_ : 0; }

bool SrcFmtBrenlow::GetChanRange(int32_t chan, double* lower, double* upper) const {
  const Record* record = ChanRecord(chan);
  if (record == nullptr) return false;
  *lower = record->lower;
  *upper = record->upper;
  return true;
}

const char* SrcFmtBrenlow::GetChanLabel(int32_t chan) const {
  const Record* record = ChanRecord(chan);
  return record ? record->label : nullptr;
}

const char* SrcFmtBrenlow::GetChanUnits(int32_t chan) const {
  const Record* record = ChanRecord(chan);
  return record ? record->units : nullptr;
}

int32_t SrcFmtBrenlow::GetChanPrecision(int32_t chan) const {
  const Record* record = ChanRecord(chan);
  if (record == nullptr) return 0;
  switch (record->type) {
    case 4: return 0;
    case 7: return 8;
    case 8: return 1;
    default: return 4;
  }
}

double SrcFmtBrenlow::GetPostTrigRate() const { return IsRateless() ? 1.0 : scanRate_; }

bool SrcFmtBrenlow::HasUniformRate() const { return !(IsRateless() && HasTimeStamp()); }

const char* SrcFmtBrenlow::GetAppTitle() const { return "Brenlow"; }

const char* SrcFmtBrenlow::GetDescVersion() const {
  const platform::ScopedCLocale cLocale;  // a version reads "2.500000" in every locale
  std::snprintf(versionText_, sizeof(versionText_), "%f", version_);
  return versionText_;
}

void SrcFmtBrenlow::InitTimeFormat() {
  SrcFmt::InitTimeFormat();
  const bool hasTime = HasTimeStamp();
  const bool rateless = IsRateless();
  native_.absolute = hasTime;
  native_.stampsInData = hasTime;
  if (rateless) {
    native_.timed = hasTime;
    native_.digits = 6;
  } else if (hasTime) {
    native_.reference = kRefDerivedFromFirst | kRefFirstScan;
  }
}

bool SrcFmtBrenlow::GetNativeScanTime(int64_t scan, double* out) {
  const int64_t fromTrigger = scan - GetPreTrigCount();
  const double rate = GetPostTrigRate();
  if (!native_.timed) {
    *out = static_cast<double>(fromTrigger);
    return true;
  }
  if (!native_.absolute) {
    *out = SecondsToDays(static_cast<double>(fromTrigger) / rate);
    return true;
  }
  if ((native_.reference & kRefDerivedFromFirst) != 0 && scan != 0) {
    if (!IsKnownTime(FirstScanTime())) return false;
    *out = FirstScanTime() + SecondsToDays(static_cast<double>(scan) / rate);
    return true;
  }
  // A stamp whose three floats do not all lie within the scan cannot be read.
  if (!HasTimeStamp() || timeIndex_ > numRecords_ - kStampFloats) return false;
  // Read from the stamp record's own position, whatever the user channel numbering says.
  const uint8_t* stamp = RawSampleAt(scan, timeIndex_);
  const double seconds = static_cast<double>(le::F32(stamp)) + static_cast<double>(le::F32(stamp + 4)) * 65536.0 +
                         static_cast<double>(le::F32(stamp + 8)) / 256.0;
  *out = SecondsToDays(seconds) + kStampEpochDays;
  return true;
}

double SrcFmtBrenlow::ScaleSample(int32_t chan, const uint8_t* raw) const {
  const Record* record = ChanRecord(chan);
  if (record == nullptr) return 0.0;
  return ClampedFloatSample(raw, record->lower, record->upper);
}

void SrcFmtBrenlow::ScaleScans(int64_t firstScan, int64_t scans, double* out) const {
  if (!BlockSet() || Block() == nullptr) {
    SrcFmt::ScaleScans(firstScan, scans, out);
    return;
  }
  ScaleEachScanByRuns(RawSampleAt(firstScan, 0), GetScanSize(), scans, numUser_, userRuns_, out,
                      [this](const AdjacentChannels& run, const uint8_t* raw, double* values) {
                        ClampFloatSamples(raw, &userLower_[static_cast<size_t>(run.first)],
                                          &userUpper_[static_cast<size_t>(run.first)], run.count, values);
                      });
}

}  // namespace travune
