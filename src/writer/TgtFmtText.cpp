// Plain text writer: each scan is one line of values, every value led by a blank or its minus
// sign and followed by a tab, the line ended by CR LF. Values are formatted straight into the
// block's output area.
#include "writer/TgtFmtText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>

#include "support/NumberText.h"
#include "support/ParallelChunks.h"

namespace travune {

namespace {

// Exponent digits of the values in exponent form ("1.500e+001").
constexpr int kExponentDigits = 3;
// Non-finite values print as " inf", "-inf", " nan" or "-nan".
constexpr int64_t kNonFiniteWidth = 4;

char* AppendLineEnd(char* p) {
  *p++ = '\r';
  *p++ = '\n';
  return p;
}

}  // namespace

TgtFmtText::TgtFmtText(SrcFmt* source, const WriterContext& context)
    : TgtFmt(source), decimalMark_(context.decimalMark), formatThreads_(context.formatThreads) {
  const int32_t chans = std::max<int32_t>(0, NumChans());
  try {
    columns_.reserve(static_cast<size_t>(chans));
    int64_t bytesPerScan = 2;  // CR LF
    for (int32_t chan = 0; chan < chans; ++chan) {
      // A negative precision is not expected from any source; it prints whole numbers.
      const int32_t precision = std::max<int32_t>(0, source->GetChanPrecision(chan));
      double lower = 0.0;
      double upper = 0.0;
      source->GetChanRange(chan, &lower, &upper);
      const ValueColumn column{precision, ValueWidth(precision, lower, upper)};
      columns_.push_back(column);
      bytesPerScan += column.width + 1;
    }
    maxLineChars_ = kMaxLeadingChars + 1 + static_cast<size_t>(chans) * (kMaxNumberChars + 2) + 2;
    spareLines_.resize(maxLineChars_ * ParallelChunks::kMaxChunks);
    outputBytesPerScan_ = bytesPerScan;
  } catch (const std::bad_alloc&) {
    return;
  }
  ok_ = true;
}

char* TgtFmtText::AppendValue(char* p, int32_t precision, double value) const {
  if (!std::signbit(value)) *p++ = ' ';
  if (precision == 0) return AppendFixed(p, value, 0, decimalMark_);
  return AppendScientific(p, value, precision, kExponentDigits, decimalMark_);
}

// Exponent-form values all have the same width; a whole number within the range is widest at
// one of the range's ends. Whole-number columns are at least wide enough for inf and nan.
int64_t TgtFmtText::ValueWidth(int32_t precision, double lower, double upper) const {
  char text[kMaxNumberChars + 1];
  const int64_t lowerWidth = AppendValue(text, precision, lower) - text;
  const int64_t upperWidth = AppendValue(text, precision, upper) - text;
  return std::max({lowerWidth, upperWidth, kNonFiniteWidth});
}

char* TgtFmtText::FitField(char* start, char* end, int64_t width, bool fit) {
  if (!fit || end - start <= width) return end;
  std::memset(start, '*', static_cast<size_t>(width));
  return start + width;
}

char* TgtFmtText::FormatLine(char* p, int64_t, const double* values, bool fit) {
  for (size_t chan = 0; chan < columns_.size(); ++chan) {
    const ValueColumn& column = columns_[chan];
    char* start = p;
    p = FitField(start, AppendValue(start, column.precision, values[chan]), column.width, fit);
    *p++ = '\t';
  }
  return AppendLineEnd(p);
}

bool TgtFmtText::PrepareLines(int64_t, int64_t) { return true; }

// Lines go straight into the area while it has room for the longest possible line, the last
// few through the spare line. A line longer than OutputBytesPerScan (a value far outside its
// channel's range) is written again fitted, so the scans never outgrow count *
// OutputBytesPerScan and every line is the same whatever the block size or chunk.
char* TgtFmtText::FormatScans(char* pos, char* end, int64_t firstScan, int64_t count, const double* values,
                              char* spare) {
  const size_t chans = columns_.size();
  for (int64_t i = 0; i < count; ++i) {
    const double* scanValues = values + static_cast<size_t>(i) * chans;
    const bool direct = static_cast<size_t>(end - pos) >= maxLineChars_;
    char* const line = direct ? pos : spare;
    char* lineEnd = FormatLine(line, firstScan + i, scanValues, false);
    if (lineEnd - line > outputBytesPerScan_) lineEnd = FormatLine(line, firstScan + i, scanValues, true);
    if (!direct) std::memcpy(pos, line, static_cast<size_t>(lineEnd - line));
    pos += lineEnd - line;
  }
  return pos;
}

// Each chunk of scans is formatted into its own part of the area (its scans' full budget), the
// parts then moved together in order: the bytes are those of formatting the block in one go.
int64_t TgtFmtText::ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) {
  if (scans <= 0) return 0;
  const double* values = ScaleBlock(firstScan, scans);
  const size_t perScan = static_cast<size_t>(outputBytesPerScan_);
  const size_t budget = static_cast<size_t>(scans) * perScan;
  uint8_t* area = out.Extend(budget);
  if (values == nullptr || area == nullptr || !PrepareLines(firstScan, scans)) return -1;
  char* const begin = reinterpret_cast<char*>(area);
  const size_t chans = columns_.size();
  std::array<char*, ParallelChunks::kMaxChunks> chunkEnds{};
  const size_t chunks = ParallelChunks::ChunksFor(scans * static_cast<int64_t>(chans), formatThreads_);
  ParallelChunks::Run(static_cast<size_t>(scans), chunks, [&](size_t chunk, size_t first, size_t last) {
    chunkEnds[chunk] = FormatScans(begin + first * perScan, begin + last * perScan, firstScan + static_cast<int64_t>(first),
                                   static_cast<int64_t>(last - first), values + first * chans, SpareLine(chunk));
  });
  char* pos = chunkEnds[0];
  for (size_t chunk = 1; chunk < chunks; ++chunk) {
    const char* start = begin + ParallelChunks::ChunkBegin(chunk, static_cast<size_t>(scans), chunks) * perScan;
    const size_t length = static_cast<size_t>(chunkEnds[chunk] - start);
    std::memmove(pos, start, length);
    pos += length;
  }
  out.Shrink(budget - static_cast<size_t>(pos - begin));
  return pos - begin;
}

}  // namespace travune
