// Halvard viewer writer: the description file is written once before the first block; every
// block becomes scans of little-endian 16-bit codes, each preceded by a 10-byte clock stamp
// when stamps were asked for and the source dates its scans.
#include "writer/TgtFmtHalvard.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "source/Linear.h"
#include "support/LittleEndian.h"
#include "support/NumberText.h"
#include "support/RoundedCode.h"
#include "support/Time.h"

namespace travune {

namespace {

constexpr double kLowestCode = -32768.0;
constexpr double kHighestCode = 32767.0;
constexpr double kMicrosecondsPerSecond = 1e6;
constexpr uint32_t kLastMicrosecond = 999999;

// The 10-byte clock stamp of an absolute scan time (days since 30 December 1899): hour,
// minute, second, microseconds within the second (u32), month 1-12, day, year - 1900.
// The microseconds come from the same time of day, rounded by half a microsecond, as the
// calendar's whole seconds: the fraction of the full seconds count since 1899 is coarser and can
// round up to a whole second that the calendar already counted (7 s written as 7 s + 1000000 us).
void PutClockStamp(uint8_t* out, double days) {
  CalendarTime calendar;
  DaysToCalendar(days, &calendar);
  const double timeOfDay = DaysToSeconds(days - std::floor(days)) + kHalfMicrosecond;
  // A time that is not a number or infinite: the calendar shows midnight of its nearest day, so
  // no microseconds either (and no conversion of a NaN to an integer).
  const double microseconds =
      std::isfinite(days) ? (timeOfDay - std::floor(timeOfDay)) * kMicrosecondsPerSecond : 0.0;
  out[0] = static_cast<uint8_t>(calendar.hour);
  out[1] = static_cast<uint8_t>(calendar.minute);
  out[2] = static_cast<uint8_t>(calendar.second);
  le::PutU32(out + 3, std::min(static_cast<uint32_t>(microseconds), kLastMicrosecond));
  out[7] = static_cast<uint8_t>(calendar.month + 1);
  out[8] = static_cast<uint8_t>(calendar.dayOfMonth);
  out[9] = static_cast<uint8_t>(calendar.year);
}

}  // namespace

TgtFmtHalvard::TgtFmtHalvard(SrcFmt* source, const WriterContext& context)
    : TgtFmt(source),
      separator_(context.listSeparator != nullptr ? context.listSeparator : ","),
      decimalMark_(context.decimalMark) {
  // Stamps need dates: a source with relative times gets none even when they are asked for.
  const bool stampsWanted = (context.flags & 1u) != 0;
  stampBytes_ = stampsWanted && source->NativeTimeFormat().absolute ? kStampBytes : 0;
  outputBytesPerScan_ = stampBytes_ + 2 * static_cast<int64_t>(NumChans());
  headerFile_ = true;
  ok_ = true;
}

bool TgtFmtHalvard::LoadChannelLimits() {
  const int32_t chans = NumChans();
  try {
    codeLines_.assign(static_cast<size_t>(chans > 0 ? chans : 0), CodeLine{});
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (int32_t chan = 0; chan < chans; ++chan) {
    double lower = 0.0;
    double upper = 0.0;
    source_->GetChanRange(chan, &lower, &upper);
    CodeLine& line = codeLines_[static_cast<size_t>(chan)];
    LinearFromPoints(&line.slope, &line.offset, lower, upper, kLowestCode, kHighestCode);
  }
  limitsLoaded_ = true;
  return true;
}

bool TgtFmtHalvard::PreConvert(const char*, platform::File*, platform::File* headerFile, int64_t) {
  if (!LoadChannelLimits()) return false;
  if (headerFile == nullptr) return false;
  try {
    const std::string text = Description();
    return headerFile->Write(text.data(), text.size());
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool TgtFmtHalvard::PostConvert() {
  std::vector<CodeLine>().swap(codeLines_);
  limitsLoaded_ = false;
  return true;
}

void TgtFmtHalvard::AppendFixed6(std::string* text, double value) const {
  char digits[kMaxNumberChars];
  text->append(digits, AppendFixed(digits, value, 6, decimalMark_));
}

std::string TgtFmtHalvard::Description() const {
  std::string text = "*TYPE\r\nTARQUIL 2.0\r\n*VERSION\r\n2.00\r\n*FORMAT\r\nBINARY\r\n*FREQUENCY\r\n";
  AppendFixed6(&text, source_->GetPreTrigRate());
  text += separator_;
  AppendFixed6(&text, source_->GetPostTrigRate());
  text += "\r\n*PRETRIG_COUNT\r\n";
  text += FormatC("%09lld", static_cast<long long>(source_->GetPreTrigCount()));
  text += "\r\n*CHANNELS\r\n";
  for (int32_t chan = 0; chan < NumChans(); ++chan) AppendChannelLine(&text, chan);
  return text;
}

// position, codes per unit, label, units, offset, each followed by the separator. The
// position counts 16-bit words within the scan, after the stamp's five.
void TgtFmtHalvard::AppendChannelLine(std::string* text, int32_t chan) const {
  const unsigned position = static_cast<unsigned>(chan) + stampBytes_ / 2;
  double lower = 0.0;
  double upper = 0.0;
  source_->GetChanRange(chan, &lower, &upper);
  double slope = 0.0;
  double offset = 0.0;
  LinearFromPoints(&slope, &offset, kLowestCode, kHighestCode, lower, upper);

  *text += FormatC("%05u", position);
  *text += separator_;
  AppendFixed6(text, 1.0 / slope);
  *text += separator_;
  *text += source_->GetChanLabel(chan);
  *text += separator_;
  *text += source_->GetChanUnits(chan);
  *text += separator_;
  AppendFixed6(text, offset);
  *text += separator_;
  *text += "\r\n";
}

// A scan whose time cannot be had gets an all-zero stamp (month 0 marks it as no date).
void TgtFmtHalvard::PutScanStamp(uint8_t* out, int64_t scan) {
  double days = 0.0;
  if (source_->GetScanTime(scan, &days)) {
    PutClockStamp(out, days);
  } else {
    std::fill(out, out + kStampBytes, uint8_t{0});
  }
}

int64_t TgtFmtHalvard::ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) {
  if (!limitsLoaded_) return -1;
  if (scans <= 0) return 0;
  const size_t chans = codeLines_.size();
  const size_t scanBytes = stampBytes_ + 2 * chans;
  const double* values = ScaleBlock(firstScan, scans);
  uint8_t* bytes = out.Extend(static_cast<size_t>(scans) * scanBytes);
  if (values == nullptr || bytes == nullptr) return -1;
  for (int64_t scan = firstScan; scan < firstScan + scans; ++scan) {
    if (stampBytes_ != 0) {
      PutScanStamp(bytes, scan);
      bytes += stampBytes_;
    }
    PutRoundedCodes(values, codeLines_.data(), chans, bytes);
    values += chans;
    bytes += 2 * chans;
  }
  return scans * static_cast<int64_t>(scanBytes);
}

}  // namespace travune
