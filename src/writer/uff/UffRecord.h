// Base of the records that write the datasets of a Universal File Format file: fixed-width
// number fields, dates, and text lines ending in CR LF that go to a file in one write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/Platform.h"
#include "source/SrcFmt.h"
#include "support/Time.h"

namespace travune {

// The three exponent forms of the format's number fields: 17, 7 or 5 decimals in a field of
// 25, 15 or 13 characters, always with exactly two exponent digits where the value allows.
enum class UffNumberForm { kWide, kMedium, kNarrow };

class UffRecord {
 public:
  UffRecord(SrcFmt* source, char decimalMark);
  virtual ~UffRecord();
  UffRecord(const UffRecord&) = delete;
  UffRecord& operator=(const UffRecord&) = delete;

  // Characters of one field of the form.
  static int FieldWidth(UffNumberForm form);
  // Writes value in the form's exponent notation, right-aligned in its field (a positive value
  // starts with two blanks, a negative one with one), and returns the end. No terminator, no
  // allocation. Only a negative value with a three-digit exponent fills the field completely.
  static char* AppendNumber(char* out, UffNumberForm form, double value, char mark, char expLetter = 'E');
  // "05-Mar-03   14:07:09": day, English month abbreviation, two-digit year, time of day.
  static std::string FormatDate(const SystemTime& time);

 protected:
  // Adds text and CR LF to the lines waiting for the next flush.
  void WriteLine(std::string_view text);
  // One line of numbers of one form.
  void WriteNumberLine(std::initializer_list<double> values, UffNumberForm form, char expLetter = 'E');
  // The number of bytes waiting, i.e. the offset the next line will have within them.
  size_t PendingBytes() const { return lines_.size(); }
  // Appends the waiting lines at the end of file and forgets them; false when the file is not
  // open or the write failed.
  bool FlushLinesTo(platform::File& file);
  // Writes the waiting lines at offset of file and forgets them.
  bool FlushLinesAt(platform::File& file, int64_t offset);

  SrcFmt* source_;
  char decimalMark_;

 private:
  std::string lines_;
};

// Text padded with blanks on the right to 80 characters; longer texts stay whole.
std::string PadTo80(std::string text);
// Appends n bytes at the current end of file; false unless all were written.
bool AppendToFile(platform::File& file, const void* data, size_t n);
// Moves bytes bytes of file from offset from to offset to; the two ranges may overlap.
bool MoveWithinFile(platform::File& file, int64_t from, int64_t to, int64_t bytes);
// A file time (100-ns ticks since 1 January 1601, universal time) as calendar fields, whole
// seconds (the fraction is dropped, not rounded).
SystemTime FileTimeToSystemTime(uint32_t low, uint32_t high);
// The current time from the platform clock as calendar fields.
SystemTime CurrentSystemTime();
// The temporary file of channel chan inside directory (which ends in the separator).
std::string UffTempFileName(const std::string& directory, int32_t chan);

}  // namespace travune
