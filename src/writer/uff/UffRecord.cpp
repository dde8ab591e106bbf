// Number fields, dates and line output shared by every dataset record of the UFF writers.
#include "writer/uff/UffRecord.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "support/NumberText.h"

namespace travune {

namespace {

struct FormShape {
  int width;
  int decimals;
};

FormShape ShapeOf(UffNumberForm form) {
  switch (form) {
    case UffNumberForm::kWide: return {25, 17};
    case UffNumberForm::kMedium: return {15, 7};
    case UffNumberForm::kNarrow: break;
  }
  return {13, 5};
}

constexpr const char* kMonthNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr size_t kLineEndBytes = 2;
// Records moved inside a file go in chunks of 1 MiB.
constexpr int64_t kMoveChunk = int64_t{1} << 20;
constexpr size_t kPaddedLineChars = 80;
constexpr uint64_t kTicksPerSecond = 10000000;
constexpr uint64_t kSecondsPerDayInt = 86400;
// Day number (days since 30 December 1899) of 1 January 1601, where file times start.
constexpr int64_t kFileTimeOriginDay = -109205;

}  // namespace

UffRecord::UffRecord(SrcFmt* source, char decimalMark) : source_(source), decimalMark_(decimalMark) {}

UffRecord::~UffRecord() = default;

int UffRecord::FieldWidth(UffNumberForm form) { return ShapeOf(form).width; }

char* UffRecord::AppendNumber(char* out, UffNumberForm form, double value, char mark, char expLetter) {
  const FormShape shape = ShapeOf(form);
  char digits[kMaxNumberChars];
  const char* end = AppendScientific(digits, value, shape.decimals, 2, mark, expLetter);
  const int length = static_cast<int>(end - digits);
  const int blanks = std::max(0, shape.width - length);
  std::memset(out, ' ', static_cast<size_t>(blanks));
  std::memcpy(out + blanks, digits, static_cast<size_t>(length));
  return out + blanks + length;
}

std::string UffRecord::FormatDate(const SystemTime& time) {
  const char* month = time.month >= 1 && time.month <= 12 ? kMonthNames[time.month - 1] : "???";
  return FormatC("%02u-%s-%02u   %02u:%02u:%02u", unsigned{time.day}, month, unsigned{time.year} % 100u,
                 unsigned{time.hour}, unsigned{time.minute}, unsigned{time.second});
}

void UffRecord::WriteLine(std::string_view text) {
  lines_.append(text);
  lines_.append("\r\n", kLineEndBytes);
}

void UffRecord::WriteNumberLine(std::initializer_list<double> values, UffNumberForm form, char expLetter) {
  char field[kMaxNumberChars];
  std::string line;
  for (const double value : values) {
    const char* end = AppendNumber(field, form, value, decimalMark_, expLetter);
    line.append(field, static_cast<size_t>(end - field));
  }
  WriteLine(line);
}

bool UffRecord::FlushLinesTo(platform::File& file) {
  const bool written = file.IsOpen() && AppendToFile(file, lines_.data(), lines_.size());
  lines_.clear();
  return written;
}

bool UffRecord::FlushLinesAt(platform::File& file, int64_t offset) {
  const bool written = offset >= 0 && file.WriteAt(static_cast<uint64_t>(offset), lines_.data(), lines_.size());
  lines_.clear();
  return written;
}

std::string PadTo80(std::string text) {
  if (text.size() < kPaddedLineChars) text.append(kPaddedLineChars - text.size(), ' ');
  return text;
}

bool AppendToFile(platform::File& file, const void* data, size_t n) {
  const int64_t end = file.Size();
  return end >= 0 && file.WriteAt(static_cast<uint64_t>(end), data, n);
}

bool MoveWithinFile(platform::File& file, int64_t from, int64_t to, int64_t bytes) {
  if (from < 0 || to < 0 || bytes < 0) return false;
  if (from == to || bytes == 0) return true;
  const size_t chunkBytes = static_cast<size_t>(std::min(bytes, kMoveChunk));
  const std::unique_ptr<char[]> chunk(new (std::nothrow) char[chunkBytes]);
  if (!chunk) return false;
  // Moving towards the end, the last chunk goes first, so that no chunk overwrites bytes that
  // have still to move; towards the start, the first.
  const bool backwards = to > from;
  for (int64_t done = 0; done < bytes;) {
    const int64_t n = std::min<int64_t>(bytes - done, static_cast<int64_t>(chunkBytes));
    const int64_t at = backwards ? bytes - done - n : done;
    if (!file.ReadAt(static_cast<uint64_t>(from + at), chunk.get(), static_cast<size_t>(n)) ||
        !file.WriteAt(static_cast<uint64_t>(to + at), chunk.get(), static_cast<size_t>(n))) {
      return false;
    }
    done += n;
  }
  return true;
}

SystemTime FileTimeToSystemTime(uint32_t low, uint32_t high) {
  const uint64_t seconds = ((static_cast<uint64_t>(high) << 32) | low) / kTicksPerSecond;
  const uint64_t secondOfDay = seconds % kSecondsPerDayInt;
  SystemTime time;
  DaysToSystemTime(static_cast<double>(kFileTimeOriginDay + static_cast<int64_t>(seconds / kSecondsPerDayInt)), &time);
  time.hour = static_cast<uint16_t>(secondOfDay / 3600);
  time.minute = static_cast<uint16_t>(secondOfDay % 3600 / 60);
  time.second = static_cast<uint16_t>(secondOfDay % 60);
  return time;
}

SystemTime CurrentSystemTime() {
  const platform::LocalTime now = platform::CurrentLocalTime();
  SystemTime time;
  time.year = static_cast<uint16_t>(now.year);
  time.month = static_cast<uint16_t>(now.month);
  time.day = static_cast<uint16_t>(now.day);
  time.hour = static_cast<uint16_t>(now.hour);
  time.minute = static_cast<uint16_t>(now.minute);
  time.second = static_cast<uint16_t>(now.second);
  time.milliseconds = static_cast<uint16_t>(now.millisecond);
  return time;
}

std::string UffTempFileName(const std::string& directory, int32_t chan) {
  return directory + FormatC("chan%03d.tmp", chan);
}

}  // namespace travune
