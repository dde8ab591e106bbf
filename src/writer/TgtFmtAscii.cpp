// Spreadsheet text writer: header lines of labels and units, and the time column in its three
// forms: scan counts from the trigger (untimed sources), signed durations "+hhh:mm:ss" from
// the reference (relative sources), and clock time with date (absolute sources).
#include "writer/TgtFmtAscii.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <new>

#include "support/Time.h"

namespace travune {

namespace {

// Scan counts print with a sign position and nine digits at least ("-000000010").
constexpr int kScanCountDigits = 9;
// A relative time column reserves two more hour digits than it shows at 0 (up to 99999
// hours), so long recordings keep their full time instead of being fitted.
constexpr int64_t kExtraHourDigits = 2;
// Scan counts beyond this magnitude print as this magnitude.
constexpr double kScanCountLimit = 1e18;

// value as printf's "%0*d" prints it: at least width characters, a minus sign first, zeros
// filling up.
char* AppendZeroPadded(char* p, int64_t value, int width) {
  char digits[24];
  const bool negative = value < 0;
  const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  char* end = std::to_chars(digits, digits + sizeof digits, magnitude).ptr;
  const int length = static_cast<int>(end - digits);
  if (negative) *p++ = '-';
  for (int pad = width - length - (negative ? 1 : 0); pad > 0; --pad) *p++ = '0';
  std::memcpy(p, digits, static_cast<size_t>(length));
  return p + length;
}

// "%0*d:%02d:%02d" with hourDigits.
char* AppendClock(char* p, int32_t hour, int32_t minute, int32_t second, int hourDigits) {
  p = AppendZeroPadded(p, hour, hourDigits);
  *p++ = ':';
  p = AppendZeroPadded(p, minute, 2);
  *p++ = ':';
  return AppendZeroPadded(p, second, 2);
}

// The scan count of an untimed source's native time, cut to a whole number: "% 010d".
char* AppendScanCount(char* p, double t) {
  const double whole = std::isnan(t) ? 0.0 : std::floor(std::fmax(-kScanCountLimit, std::fmin(kScanCountLimit, t + 0.1)));
  const int64_t count = static_cast<int64_t>(whole);
  *p++ = count < 0 ? '-' : ' ';
  return AppendZeroPadded(p, count < 0 ? -count : count, kScanCountDigits);
}

// The fraction of the second s (rounding already added): "\t%03d" milliseconds, or with more
// than three digits "\t%03d.%03d" milliseconds and microseconds.
char* AppendFraction(char* p, double s, uint32_t digits) {
  const double micro = std::floor(std::fmod(s, 1.0) * 1000000.0);
  const int64_t u = std::isfinite(micro) ? static_cast<int64_t>(micro) : 0;
  *p++ = '\t';
  p = AppendZeroPadded(p, u / 1000, 3);
  if (digits <= 3) return p;
  *p++ = '.';
  return AppendZeroPadded(p, u % 1000, 3);
}

// "\t%02d-%02d-%04d": month, day, year.
char* AppendDate(char* p, const CalendarTime& date) {
  *p++ = '\t';
  p = AppendZeroPadded(p, date.month + 1, 2);
  *p++ = '-';
  p = AppendZeroPadded(p, date.dayOfMonth, 2);
  *p++ = '-';
  return AppendZeroPadded(p, static_cast<int64_t>(date.year) + 1900, 4);
}

// The titles of the time column on header line 1 or 2: one, two or three tab-separated titles
// (time, fraction of a second, date) matching the fields of AppendTimeText.
std::string TimeHeader(int line, const TimeFormat& format) {
  std::string text;
  if (line == 1) {
    text = "Time";
  } else {
    text = format.absolute ? "hh:mm:ss" : format.timed ? " hhh:mm:ss" : "scans";
  }
  if (!format.timed) return text;
  if (format.digits > 0) text += line == 1 ? "\tms" : "\t";
  if (format.absolute) text += line == 1 ? "\tDate" : "\tMM-DD-YYYY";
  return text;
}

// Writes the time t (native: days, or a scan count from the trigger when untimed) at p as the
// time column prints it and returns the end; at most 34 characters, whatever t is.
// The rounding term half (half a unit of the last printed digit) is added before the fraction
// is cut; the whole seconds of a date come from the calendar fields, which round by half a
// microsecond only.
char* AppendTimeText(char* p, double t, const TimeFormat& format) {
  if (!format.timed) return AppendScanCount(p, t);
  const double half = 0.5 * std::pow(10.0, -static_cast<double>(format.digits));
  double s = 0.0;
  CalendarTime date;
  if (format.absolute) {
    DaysToCalendar(t, &date);
    p = AppendClock(p, date.hour, date.minute, date.second, 2);
    s = DaysToSeconds(std::fmod(t, 1.0)) + half;
  } else {
    *p++ = t >= 0.0 ? '+' : '-';
    s = DaysToSeconds(std::fabs(t)) + half;
    int32_t second = 0;
    int32_t minute = 0;
    int32_t hour = 0;
    SplitSeconds(s, &second, &minute, &hour);
    p = AppendClock(p, hour, minute, second, 3);
  }
  if (format.digits > 0) p = AppendFraction(p, s, format.digits);
  if (format.absolute) p = AppendDate(p, date);
  return p;
}

}  // namespace

TgtFmtAscii::TgtFmtAscii(SrcFmt* source, const WriterContext& context)
    : TgtFmtText(source, context), timeWanted_((context.flags & 1u) != 0), timeFormat_(source->NativeTimeFormat()) {
  if (!timeWanted_) return;
  char text[kMaxLeadingChars];
  timeWidth_ = AppendTimeText(text, 0.0, timeFormat_) - text;
  if (timeFormat_.timed && !timeFormat_.absolute) timeWidth_ += kExtraHourDigits;
  AddLeadingColumn(timeWidth_);
}

std::string TgtFmtAscii::HeaderLines() const {
  std::string lines;
  for (int line = 1; line <= 2; ++line) {
    if (timeWanted_) lines += TimeHeader(line, timeFormat_) + '\t';
    for (int32_t chan = 0; chan < NumChans(); ++chan) {
      const char* text = line == 1 ? source_->GetChanLabel(chan) : source_->GetChanUnits(chan);
      lines += text != nullptr ? text : "";
      lines += '\t';
    }
    lines += "\r\n";
  }
  return lines;
}

bool TgtFmtAscii::PreConvert(const char*, platform::File* dataFile, platform::File*, int64_t) {
  if (dataFile == nullptr) return false;
  try {
    const std::string lines = HeaderLines();
    return dataFile->WriteAt(0, lines.data(), lines.size());
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// A scan whose time cannot be had prints time 0.
bool TgtFmtAscii::PrepareLines(int64_t firstScan, int64_t scans) {
  if (!timeWanted_) return true;
  try {
    times_.assign(static_cast<size_t>(scans), 0.0);
  } catch (const std::bad_alloc&) {
    return false;
  }
  timesFirstScan_ = firstScan;
  for (int64_t i = 0; i < scans; ++i) source_->GetScanTime(firstScan + i, &times_[static_cast<size_t>(i)]);
  return true;
}

char* TgtFmtAscii::FormatLine(char* p, int64_t scan, const double* values, bool fit) {
  if (timeWanted_) {
    const double t = times_[static_cast<size_t>(scan - timesFirstScan_)];
    p = FitField(p, AppendTimeText(p, t, timeFormat_), timeWidth_, fit);
    *p++ = '\t';
  }
  return TgtFmtText::FormatLine(p, scan, values, fit);
}

}  // namespace travune
