// Behaviour every acquisition source shares: scan counting, block layout, raw sample
// addressing, scan-time conversion with its caches, file information and time-stamp loading.
#include "source/SrcFmt.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "source/Acquisition.h"
#include "support/LittleEndian.h"
#include "support/Time.h"

namespace travune {

const uint8_t kZeroSample[16] = {};

namespace {

size_t CopyName(const String& name, char* buf, size_t size) {
  if (buf == nullptr || size == 0) return 0;
  const size_t length = static_cast<size_t>(name.Length());
  const size_t copied = length < size ? length : size - 1;
  std::memcpy(buf, name.c_str(), copied);
  buf[copied] = '\0';
  return copied;
}

// False when the file is open and its information cannot be read.
bool ReadFileInformation(const platform::File* file, platform::FileInformation* out) {
  *out = platform::FileInformation{};
  return file == nullptr || !file->IsOpen() || file->GetInformation(out);
}

}  // namespace

SrcFmt::~SrcFmt() = default;

bool SrcFmt::LoadTimeStamps(platform::File* dataFile) {
  if (!native_.stampsInData) return true;
  const int64_t trigger = GetPreTrigCount();
  const int64_t scansToVisit[2] = {0, trigger};
  const int visits = trigger > 0 ? 2 : 1;
  for (int i = 0; i < visits; ++i) {
    const int64_t scan = scansToVisit[i];
    // The block runs from the scan to at most the end of the data file.
    int64_t scans = GetNumScans() - scan;
    if (scans <= 0 || dataFile == nullptr) return false;
    int64_t bytes = 0;
    int64_t offset = 0;
    GetBlockLayout(65536, &scans, &bytes, scan, &offset);
    if (bytes <= 0) return false;
    std::unique_ptr<uint8_t[]> buffer(new (std::nothrow) uint8_t[static_cast<size_t>(bytes)]);
    if (!buffer || !ReadRawBlock(*this, *dataFile, scan, &scans, buffer.get(), 65536)) return false;
    GetScanTime(scan, nullptr);
    block_ = nullptr;
    blockSet_ = false;
  }
  return true;
}

int64_t SrcFmt::GetChanIndex(int32_t chan) const { return chan; }

bool SrcFmt::GetScanTime(int64_t scan, double* out, const TimeFormat* request) {
  const int64_t trigger = GetPreTrigCount();
  double t = 0.0;
  if (scan == 0 && IsKnownTime(firstScanTime_)) {
    t = firstScanTime_;
  } else if (scan == trigger && IsKnownTime(trigScanTime_)) {
    t = trigScanTime_;
  } else {
    if (!GetNativeScanTime(scan, &t)) return false;
    if (scan == 0) {
      firstScanTime_ = t;
    } else if (scan == trigger) {
      trigScanTime_ = t;
    }
  }

  double v = t;
  if (request != nullptr) {
    if (request->absolute != native_.absolute) {
      if (request->absolute) return false;
      v = t - TriggerReference(t);
    }
    if (request->timed != native_.timed) {
      if (request->timed) return false;
      v = static_cast<double>(scan - trigger);
    }
    if (request->reference != native_.reference && request->reference == kRefFirstScan) {
      if (request->timed) {
        double t0 = 0.0;
        if (!GetNativeScanTime(0, &t0)) {
          if (!IsKnownTime(trigScanTime_)) return false;
          t0 = trigScanTime_;
        }
        v = t - t0;
      } else if (!native_.timed) {
        v = t + static_cast<double>(trigger);
      }
    }
  }
  if (out != nullptr) *out = v;
  return true;
}

int64_t SrcFmt::GetNumScans() const {
  if (!HasDataFileSize()) return GetNumProgScans();
  int64_t scanSize = GetScanSize();
  if (scanSize == 0) scanSize = 1;
  const double scans = std::floor(dataFileSize_ / static_cast<double>(scanSize));
  // A negative scan size (a source without channels) or a nonsensical size yields no scans.
  if (!(scans >= 0.0) || scans > 9.0e18) return 0;
  return static_cast<int64_t>(scans);
}

void SrcFmt::FitScansToBuffer(int64_t bufBytes, int64_t* scans, int64_t* bytes) const {
  const int64_t scanSize = GetScanSize();
  const int64_t fit = scanSize > 0 ? bufBytes / scanSize : 0;
  if (fit < *scans) *scans = fit;
  if (*scans < 0) *scans = 0;
  if (bytes != nullptr) *bytes = *scans * (scanSize > 0 ? scanSize : 0);
}

void SrcFmt::GetBlockLayout(int64_t bufBytes, int64_t* scans, int64_t* bytes, int64_t firstScan,
                            int64_t* fileOffset) const {
  FitScansToBuffer(bufBytes, scans, bytes);
  const int64_t scanSize = GetScanSize();
  *fileOffset = (scanSize > 0 ? scanSize : 0) * firstScan;
}

void SrcFmt::SetRawBlock(uint8_t* buffer, int64_t scans, int64_t firstScan) {
  block_ = buffer;
  blockScanSize_ = GetScanSize();
  blockSampleSize_ = GetSampleSize();
  blockScans_ = scans;
  blockFirstScan_ = firstScan;
  blockSet_ = true;
}

void SrcFmt::SetOptions(uint32_t flags) {
  options_ = flags;
  if ((flags & 1u) && (native_.reference & kRefDerivedFromFirst)) {
    native_.reference &= ~kRefDerivedFromFirst;
    // The trigger scan's cached time was derived from scan 0's stamp; from now on it is read
    // from its own stamp (the owner loads the stamps again).
    trigScanTime_ = kUnknownTime;
  }
}

double SrcFmt::TriggerReference(double t) {
  const int64_t trigger = GetPreTrigCount();
  if (!IsKnownTime(trigScanTime_) && (!native_.stampsInData || BlockHolds(trigger))) {
    double trig = 0.0;
    if (GetNativeScanTime(trigger, &trig)) trigScanTime_ = trig;
  }
  if (IsKnownTime(trigScanTime_)) return trigScanTime_;
  return IsKnownTime(firstScanTime_) ? firstScanTime_ : t;
}

bool SrcFmt::BlockHolds(int64_t scan) const {
  return blockSet_ && block_ != nullptr && scan >= blockFirstScan_ && scan - blockFirstScan_ < blockScans_;
}

SrcFmt::FileInfoResult SrcFmt::SetFileInfo(const char* descName, const char* dataName,
                                           const platform::File* descFile, const platform::File* dataFile) {
  descName_.Assign(descName);
  dataName_.Assign(dataName);
  // A name that could not be copied would be missing from the outputs that quote it.
  if ((descName != nullptr && descName_.IsEmpty()) || (dataName != nullptr && dataName_.IsEmpty())) {
    return FileInfoResult::kNoMemory;
  }
  if (!ReadFileInformation(descFile, &descInfo_)) return FileInfoResult::kDescUnreadable;
  return ReadFileInformation(dataFile, &dataInfo_) ? FileInfoResult::kOk : FileInfoResult::kDataUnreadable;
}

void SrcFmt::CopyFileInfo(const SrcFmt& from) {
  descName_.Assign(from.descName_.c_str());
  dataName_.Assign(from.dataName_.c_str());
  if (descName_.IsEmpty() || dataName_.IsEmpty()) throw std::bad_alloc();
  descInfo_ = from.descInfo_;
  dataInfo_ = from.dataInfo_;
}

size_t SrcFmt::GetDataFileName(char* buf, size_t size) const { return CopyName(dataName_, buf, size); }

size_t SrcFmt::GetDescFileName(char* buf, size_t size) const { return CopyName(descName_, buf, size); }

void SrcFmt::InitTimeFormat() {
  native_.timed = 1;
  native_.absolute = 0;
  native_.stampsInData = 0;
  native_.reference = kRefTrigger;
  const double pre = GetPreTrigRate();
  const double post = GetPostTrigRate();
  const double rate = pre > post ? pre : post;
  native_.digits = rate > 1000.0 ? 6 : rate > 1.0 ? 3 : 0;
}

const uint8_t* SrcFmt::RawSampleAt(int64_t scan, int64_t position) const {
  // Outside the current block there is no sample to read: the zero sample stands in.
  if (!BlockHolds(scan)) return kZeroSample;
  return block_ + (scan - blockFirstScan_) * blockScanSize_ + position * blockSampleSize_;
}

void SrcFmt::ScaleScans(int64_t firstScan, int64_t scans, double* out) const {
  const int32_t chans = GetNumChans();
  for (int64_t scan = firstScan; scan < firstScan + scans; ++scan) {
    for (int32_t chan = 0; chan < chans; ++chan) GetScaledValue(scan, chan, out++);
  }
}

const uint8_t* SrcFmt::GetRawSample(int64_t scan, int32_t chan) const { return RawSampleAt(scan, GetChanIndex(chan)); }

uint32_t SrcFmt::UserToRaw(int32_t, double) const { return 0; }

bool SrcFmt::CanUserToRaw(int32_t) const { return false; }

void SrcFmt::ConvertRawToUser(int32_t chan, double* user, uint32_t raw) const {
  // The raw value is read as the source's raw sample: its bytes in little-endian order.
  uint8_t sample[sizeof(kZeroSample)] = {};
  for (int i = 0; i < 4; ++i) sample[i] = static_cast<uint8_t>(raw >> (8 * i));
  *user = ScaleSample(chan, sample);
}

void SrcFmt::ConvertUserToRaw(int32_t chan, uint32_t* raw, double user) const {
  *raw = 0;
  if (CanUserToRaw(chan)) *raw = UserToRaw(chan, user);
}

}  // namespace travune
