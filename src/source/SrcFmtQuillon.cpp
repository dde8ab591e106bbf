// Quillon source: reads the counted texts and fixed fields of the description, keeps each
// channel's range (lower <= upper) and clamps the raw floats to it; scan times are dates.
#include "source/SrcFmtQuillon.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "source/BulkScaling.h"
#include "support/Time.h"

namespace travune {

namespace {

constexpr char kAppName[] = "Quillon";
constexpr char kFileKind[] = "DSC File";
// The smallest channel record: its fixed fields and three empty counted texts.
constexpr size_t kMinChannelBytes = 48;

// A u32 length and that many bytes, cut to the bytes left; out may be null to skip the text.
bool ReadCountedText(DescReader& reader, std::string* out) {
  uint32_t length = 0;
  if (!reader.ReadU32(&length)) return false;
  const size_t n = length < reader.BytesLeft() ? length : reader.BytesLeft();
  if (out != nullptr) out->assign(reinterpret_cast<const char*>(reader.CurPtr()), n);
  reader.SeekRel(static_cast<int64_t>(n));
  return true;
}

bool ReadHeader(DescReader& reader, QuillonHeader* h) {
  return ReadCountedText(reader, &h->appName) && reader.ReadU32(&h->versionMajor) &&
         reader.ReadU32(&h->versionMinor) && reader.ReadU32(&h->versionWord) &&
         ReadCountedText(reader, &h->fileKind) && reader.ReadI16(&h->numChans) && reader.ReadU32(&h->progScans) &&
         reader.ReadI32(&h->preTrigCount) && reader.ReadU32(&h->word) && reader.ReadF64(&h->scanRate) &&
         reader.ReadF64(&h->triggerDate);
}

bool ReadChannel(DescReader& reader, QuillonChannel* c) {
  return reader.ReadI32(&c->type) && reader.ReadF32(&c->upper) && ReadCountedText(reader, &c->label) &&
         reader.ReadF32(&c->lower) && reader.ReadU32(&c->kept[0]) && reader.ReadU32(&c->kept[1]) &&
         reader.ReadU32(&c->kept[2]) && reader.ReadU32(&c->kept[3]) && ReadCountedText(reader, &c->units) &&
         reader.ReadU32(&c->kept[4]) && reader.ReadU32(&c->kept[5]) && ReadCountedText(reader, nullptr);
}

bool HasSignature(const QuillonHeader& h) { return h.appName == kAppName && h.fileKind == kFileKind; }

}  // namespace

bool IsQuillonDescription(DescReader& reader) {
  reader.Seek(0);
  bool ok = false;
  try {
    QuillonHeader header;
    ok = ReadHeader(reader, &header) && HasSignature(header);
  } catch (const std::bad_alloc&) {
    ok = false;
  }
  reader.Seek(0);
  return ok;
}

SrcFmtQuillon::SrcFmtQuillon(const uint8_t* image, size_t size) {
  bool parsed = false;
  try {
    parsed = Parse(image, size);
  } catch (const std::bad_alloc&) {
    parsed = false;
  }
  if (parsed) return;
  channels_.clear();
  lower_.clear();
  upper_.clear();
  wholeScan_.clear();
  SetStatus(-1);
}

SrcFmtQuillon::~SrcFmtQuillon() = default;

bool SrcFmtQuillon::Parse(const uint8_t* image, size_t size) {
  DescReader reader(image, size);
  if (!IsQuillonDescription(reader) || !ReadHeader(reader, &header_)) return false;
  // The count is untrusted: every record takes at least kMinChannelBytes of what is left.
  if (header_.numChans < 0 || static_cast<size_t>(header_.numChans) > reader.BytesLeft() / kMinChannelBytes) {
    return false;
  }
  channels_.resize(static_cast<size_t>(header_.numChans));
  for (QuillonChannel& c : channels_) {
    if (!ReadChannel(reader, &c)) return false;
    if (c.upper < c.lower) std::swap(c.upper, c.lower);
    lower_.push_back(c.lower);
    upper_.push_back(c.upper);
  }
  wholeScan_ = {AdjacentChannels{0, GetNumChans(), 0}};
  InitTimeFormat();
  return true;
}

bool SrcFmtQuillon::GetNativeScanTime(int64_t scan, double* out) {
  const double rate = header_.scanRate == 0.0 ? 1.0 : header_.scanRate;
  const double seconds = static_cast<double>(scan - static_cast<int64_t>(header_.preTrigCount)) / rate;
  *out = SecondsToDays(seconds) + header_.triggerDate;
  return true;
}

bool SrcFmtQuillon::GetChanRange(int32_t chan, double* lower, double* upper) const {
  if (!IsKnownChannel(chan)) return false;
  const QuillonChannel& c = channels_[static_cast<size_t>(chan)];
  *lower = c.lower;
  *upper = c.upper;
  return true;
}

const char* SrcFmtQuillon::GetChanLabel(int32_t chan) const {
  return IsKnownChannel(chan) ? channels_[static_cast<size_t>(chan)].label.c_str() : "<err>";
}

const char* SrcFmtQuillon::GetChanUnits(int32_t chan) const {
  return IsKnownChannel(chan) ? channels_[static_cast<size_t>(chan)].units.c_str() : "<err>";
}

int32_t SrcFmtQuillon::GetChanPrecision(int32_t chan) const {
  if (!IsKnownChannel(chan)) return -1;
  const int32_t type = channels_[static_cast<size_t>(chan)].type;
  return (type == 5 || type == 7 || type == 8) ? 0 : 6;
}

const char* SrcFmtQuillon::GetDescVersion() const {
  std::snprintf(versionText_, sizeof versionText_, "%d.%d", static_cast<int>(header_.versionMajor),
                static_cast<int>(header_.versionMinor));
  return versionText_;
}

void SrcFmtQuillon::InitTimeFormat() {
  SrcFmt::InitTimeFormat();
  native_.absolute = 1;
}

double SrcFmtQuillon::ScaleSample(int32_t chan, const uint8_t* raw) const {
  if (!IsKnownChannel(chan)) return 0.0;
  const QuillonChannel& c = channels_[static_cast<size_t>(chan)];
  return ClampedFloatSample(raw, c.lower, c.upper);
}

void SrcFmtQuillon::ScaleScans(int64_t firstScan, int64_t scans, double* out) const {
  if (!BlockSet() || Block() == nullptr) {
    SrcFmt::ScaleScans(firstScan, scans, out);
    return;
  }
  ScaleEachScanByRuns(RawSampleAt(firstScan, 0), GetScanSize(), scans, GetNumChans(), wholeScan_, out,
                      [this](const AdjacentChannels& run, const uint8_t* raw, double* values) {
                        ClampFloatSamples(raw, lower_.data(), upper_.data(), run.count, values);
                      });
}

}  // namespace travune
