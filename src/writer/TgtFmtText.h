// Plain text writer: one tab-separated line of scaled values per scan, no header. Also the base
// of the spreadsheet writer, which adds header lines and a time column.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "writer/TgtFmt.h"

namespace travune {

class TgtFmtText : public TgtFmt {
 public:
  // context.decimalMark is the decimal mark of every value.
  TgtFmtText(SrcFmt* source, const WriterContext& context);

  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;

 protected:
  // Most characters a column in front of the values may print (the time column).
  static constexpr size_t kMaxLeadingChars = 48;

  // Writes the line of scan at p, which has room for every field at its widest, and returns
  // its end. values are the scan's scaled values. With fit, a field wider than its column is
  // written as that many '*' instead, which keeps the line within OutputBytesPerScan.
  // Called from several threads at once on different scans when the block is formatted in
  // chunks: it reads the writer's state but never changes it, nor the source's.
  virtual char* FormatLine(char* p, int64_t scan, const double* values, bool fit);
  // Gathers, on the calling thread, what FormatLine needs from the source for scans
  // [firstScan, firstScan + scans) beyond their values; false when that fails.
  virtual bool PrepareLines(int64_t firstScan, int64_t scans);
  // Reserves width characters and a tab per line for a column in front of the values.
  void AddLeadingColumn(int64_t width) { outputBytesPerScan_ += width + 1; }
  // The end of a field written from start to end, fitted to width when fit is set.
  static char* FitField(char* start, char* end, int64_t width, bool fit);

 private:
  // How one channel's values print: precision digits in exponent form ("% .3e" with a
  // three-digit exponent), or with precision 0 as a whole number ("% .0f"); width is the most
  // characters a value within the channel's range takes.
  struct ValueColumn {
    int32_t precision;
    int64_t width;
  };

  char* AppendValue(char* p, int32_t precision, double value) const;
  // Formats count scans from firstScan into [pos, end), which holds count * OutputBytesPerScan
  // bytes, using spare for the lines near the end; returns the end of the last line.
  char* FormatScans(char* pos, char* end, int64_t firstScan, int64_t count, const double* values, char* spare);
  char* SpareLine(size_t chunk) { return spareLines_.data() + chunk * maxLineChars_; }
  int64_t ValueWidth(int32_t precision, double lower, double upper) const;

  std::vector<ValueColumn> columns_;
  char decimalMark_;
  int32_t formatThreads_;
  // The longest line FormatLine can write, and room for one per chunk when the chunk's part of
  // the block's area has less left.
  size_t maxLineChars_ = 0;
  std::vector<char> spareLines_;
};

}  // namespace travune
