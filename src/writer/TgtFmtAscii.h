// Spreadsheet text writer: the plain text lines under two header lines (channel labels and
// units), optionally with a time column in front of each scan's values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "writer/TgtFmtText.h"

namespace travune {

class TgtFmtAscii : public TgtFmtText {
 public:
  // Bit 0 of context.flags asks for the time column.
  TgtFmtAscii(SrcFmt* source, const WriterContext& context);

  // Writes the two header lines at the start of the data file.
  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;

 protected:
  char* FormatLine(char* p, int64_t scan, const double* values, bool fit) override;
  // Reads the block's scan times from the source, which the line threads must not call.
  bool PrepareLines(int64_t firstScan, int64_t scans) override;

 private:
  std::string HeaderLines() const;

  bool timeWanted_;
  TimeFormat timeFormat_;
  int64_t timeWidth_ = 0;
  // The native times of the scans of the block being formatted, from its first scan on.
  int64_t timesFirstScan_ = 0;
  std::vector<double> times_;
};

}  // namespace travune
