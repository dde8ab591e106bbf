// DASYLab file: text header with the start time, channel lines, the 52-byte global block and
// 406-byte channel records, then the samples as 16-bit codes (0 = lower limit, 65535 = upper).
#include "writer/TgtFmtDASYLab.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <string>

#include "source/Linear.h"
#include "support/LittleEndian.h"
#include "support/NumberText.h"
#include "support/RoundedCode.h"
#include "support/Time.h"

namespace travune {

namespace {

constexpr size_t kChannelLineBytes = 35;
constexpr size_t kGlobalBlockBytes = 52;
constexpr size_t kChannelRecordBytes = 406;
constexpr size_t kLabelFieldBytes = 384;
constexpr double kTopCode = 65535.0;
constexpr int64_t kLargestBlock = 512;
constexpr double kUnixEpochDay = 25569.0;  // 1 January 1970 in days since 30 December 1899

// Wall-clock start of the acquisition in calendar fields (month 1-12, full year).
struct StartTime {
  int year, month, day, hour, minute, second;
};

StartTime FromCalendar(const CalendarTime& t) {
  return {t.year + 1900, t.month + 1, t.dayOfMonth, t.hour, t.minute, t.second};
}

StartTime FromLocalTime(const platform::LocalTime& t) { return {t.year, t.month, t.day, t.hour, t.minute, t.second}; }

// Scan 0's own date for sources that date their scans, otherwise the moment of conversion.
StartTime AcquisitionStart(SrcFmt& source) {
  double days = 0.0;
  if (source.NativeTimeFormat().absolute && source.GetScanTime(0, &days)) {
    CalendarTime t;
    DaysToCalendar(days, &t);
    return FromCalendar(t);
  }
  return FromLocalTime(platform::CurrentLocalTime());
}

// Seconds from 1970-01-01 00:00:00 to start, both wall-clock times, rounded to the nearest second
// and kept to 32 bits.
uint32_t UnixSeconds(const StartTime& start) {
  CalendarTime t;
  t.year = start.year - 1900;
  t.month = start.month - 1;
  t.dayOfMonth = start.day;
  t.hour = start.hour;
  t.minute = start.minute;
  t.second = start.second;
  double days = 0.0;
  CalendarToDays(t, &days);
  const double seconds = std::floor(DaysToSeconds(days - kUnixEpochDay) + 0.5);
  return static_cast<uint32_t>(static_cast<int64_t>(seconds));
}

// The largest divisor of the scan count that is at most 512; 512 for no scans.
uint16_t BlockScans(int64_t totalScans) {
  if (totalScans <= 0) return kLargestBlock;
  for (int64_t size = kLargestBlock; size > 1; --size) {
    if (totalScans % size == 0) return static_cast<uint16_t>(size);
  }
  return 1;
}

std::string TextHeader(SrcFmt& source, int64_t totalScans, const StartTime& start) {
  const std::string title = source.GetAppTitle();
  return FormatC(
      "DTDF\r\r\nDASYLab  -- %s %s\r\nWORKSHEET\t= %s Configuration\r\nAUTHOR\t\t= \r\nCOMPANY  \t= \r\n"
      "DIVISION\t\t= \r\nTITLE\t\t= \r\nSAMPLE RATE\t= %f \r\nTOTAL SCANS\t= %lld\r\nDATA FORMAT\t= 0\r\n"
      "DATA CHANNELS\t= %d\r\nSTART TIME\t= %d/%d/%d %02d:%02d:%02d\r\n\r\n\r\n CHANNEL\tUNIT:\r\n",
      title.c_str(), source.GetDescVersion(), title.c_str(), source.GetPreTrigRate(),
      static_cast<long long>(totalScans), source.GetNumChans(), start.month, start.day, start.year, start.hour,
      start.minute, start.second);
}

// The label right-aligned in 16, a tab, the units left-aligned in 16, CR LF: cut to 35 bytes.
std::string ChannelLine(SrcFmt& source, int32_t chan) {
  std::string line = FormatC("%16s\t%-16s\r\n", source.GetChanLabel(chan), source.GetChanUnits(chan));
  line.resize(kChannelLineBytes);
  return line;
}

std::array<uint8_t, kGlobalBlockBytes> GlobalBlock(SrcFmt& source, size_t textBytes, int64_t totalScans,
                                                   uint32_t startSeconds) {
  const uint16_t chans = static_cast<uint16_t>(source.GetNumChans());
  std::array<uint8_t, kGlobalBlockBytes> b{};
  b[1] = 0x1A;
  b[2] = 'I';
  b[3] = 'N';
  le::PutU16(&b[4], static_cast<uint16_t>(textBytes + 28));
  le::PutU16(&b[8], 1);
  le::PutU16(&b[10], 20);
  le::PutU16(&b[12], kChannelRecordBytes);
  le::PutU16(&b[18], chans);
  le::PutF64(&b[20], 1.0 / source.GetPreTrigRate());
  le::PutU32(&b[28], startSeconds);
  le::PutU16(&b[32], 20);
  le::PutU16(&b[34], chans);
  le::PutU16(&b[40], 16);
  le::PutU16(&b[42], BlockScans(totalScans));
  le::PutU32(&b[48], 1);
  return b;
}

std::array<uint8_t, kChannelRecordBytes> ChannelRecord(SrcFmt& source, int32_t chan) {
  double lower = 0.0, upper = 0.0;
  source.GetChanRange(chan, &lower, &upper);
  double slope = 0.0, offset = 0.0;
  LinearFromPoints(&slope, &offset, 0.0, kTopCode, lower, upper);
  std::array<uint8_t, kChannelRecordBytes> r{};
  le::PutU16(&r[0], kChannelRecordBytes);
  le::PutU16(&r[2], 1);
  const char* label = source.GetChanLabel(chan);
  std::memcpy(&r[4], label, strnlen(label, kLabelFieldBytes - 1));
  le::PutF64(&r[390], slope);
  le::PutF64(&r[398], offset);
  return r;
}

}  // namespace

TgtFmtDASYLab::TgtFmtDASYLab(SrcFmt* source) : TgtFmt(source) {
  try {
    codeMaps_.resize(static_cast<size_t>(std::max(0, source->GetNumChans())));
  } catch (const std::bad_alloc&) {
    return;
  }
  outputBytesPerScan_ = 2 * static_cast<int64_t>(source->GetNumChans());
  ok_ = true;
}

bool TgtFmtDASYLab::PreConvert(const char*, platform::File* dataFile, platform::File*, int64_t totalScans) {
  if (dataFile == nullptr) return false;
  const StartTime start = AcquisitionStart(*source_);
  std::string text = TextHeader(*source_, totalScans, start);
  for (int32_t c = 0; c < NumChans(); ++c) text += ChannelLine(*source_, c);
  if (!dataFile->Write(text.data(), text.size())) return false;
  const auto global = GlobalBlock(*source_, text.size(), totalScans, UnixSeconds(start));
  if (!dataFile->Write(global.data(), global.size())) return false;
  for (int32_t c = 0; c < NumChans(); ++c) {
    const auto record = ChannelRecord(*source_, c);
    if (!dataFile->Write(record.data(), record.size())) return false;
  }
  return true;
}

// The line through (lower, 0) and (upper, 65535) of every channel, read again for each block.
void TgtFmtDASYLab::LoadCodeMaps() {
  for (size_t c = 0; c < codeMaps_.size(); ++c) {
    double lower = 0.0, upper = 0.0;
    source_->GetChanRange(static_cast<int32_t>(c), &lower, &upper);
    LinearFromPoints(&codeMaps_[c].slope, &codeMaps_[c].offset, lower, upper, 0.0, kTopCode);
  }
}

int64_t TgtFmtDASYLab::ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) {
  if (scans <= 0) return 0;
  const size_t chans = codeMaps_.size();
  const size_t count = static_cast<size_t>(scans) * chans;
  const double* values = ScaleBlock(firstScan, scans);
  uint8_t* bytes = out.Extend(2 * count);
  if (values == nullptr || bytes == nullptr) return -1;
  LoadCodeMaps();
  for (size_t scan = 0; scan < static_cast<size_t>(scans); ++scan) {
    PutRoundedCodes(values + scan * chans, codeMaps_.data(), chans, bytes + 2 * scan * chans);
  }
  return static_cast<int64_t>(2 * count);
}

}  // namespace travune
