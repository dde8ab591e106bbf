// UFF 58 binary writer: the text writer's file with every dataset 58 in binary form (32-bit
// little-endian floats after the text records), no qualifier datasets, and dataset 164 with the
// exponent letter E. A binary record's length follows from its value count, so every channel's
// record is written in place in the output file: one pass, no temporary files.
#pragma once

#include <cstdint>
#include <vector>

#include "writer/TgtFmtUff58Ascii.h"
#include "writer/uff/UffChannelRecordBinary.h"

namespace travune {

class TgtFmtUff58Binary : public TgtFmtUff58Ascii {
 public:
  TgtFmtUff58Binary(SrcFmt* source, const WriterContext& context);

 protected:
  // Places the records one after the other, each with room for the scans the conversion
  // announced.
  bool StartChannels() override;
  // Moves the records apart when a block brings more scans than they have room for.
  bool ReserveScans(int64_t scans) override;
  // Ends the records and, when fewer scans came than they have room for, closes the gaps.
  bool JoinChannels() override;

 private:
  // Moves every record to follow the one before it with room for capacity values; the file
  // ends after the last one when shrinking.
  bool Relayout(int64_t capacity);

  std::vector<UffChannelRecordBinary*> records_;  // the channel records, as binary ones
  int64_t capacity_ = 0;  // values each record has room for
  int64_t scansPlaced_ = 0;
};

}  // namespace travune
