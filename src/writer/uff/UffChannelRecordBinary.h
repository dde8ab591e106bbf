// Dataset 58 of one channel in the binary form, written in place in the output file: the header
// line declares little-endian IEEE floats and their byte count, and the values follow the text
// records as 32-bit floats. The record has room for a planned number of values and is moved
// when the writer changes that room.
#pragma once

#include <cstdint>

#include "writer/uff/UffChannelRecord.h"

namespace travune {

class UffChannelRecordBinary : public UffChannelRecord {
 public:
  UffChannelRecordBinary(SrcFmt* source, char decimalMark) : UffChannelRecord(source, decimalMark) {}

  // Writes the channel's header at offset of output, followed by room for capacity values and
  // the end mark. Returns the offset just past that room, or -1 when the header was not written.
  int64_t Place(int32_t chan, platform::File& output, int64_t offset, int64_t capacity);
  // The channel's values as floats, each preceded by its time without even spacing, written
  // after those already placed. The writer has made room for them.
  bool BeginBlock(const UffBlock& block) override;
  void EncodeScans(const UffBlock& block, int64_t from, int64_t to) override;
  bool EndBlock() override;
  // Writes the end mark after the last value and corrects the declared counts when fewer values
  // than the acquisition holds were written.
  bool FinishChannel() override;

  int64_t Offset() const { return start_; }
  // Bytes a record with room for capacity values takes, end mark included.
  int64_t BytesFor(int64_t capacity) const;
  // Bytes written so far: header, values and, once finished, the end mark.
  int64_t BytesWritten() const;
  // Moves the bytes written so far to offset of the output file.
  bool MoveTo(int64_t offset);

 private:
  int64_t BytesPerValue() const { return evenSpacing_ ? 4 : 8; }

  platform::File* output_ = nullptr;
  int64_t start_ = -1;             // where the record starts in the output file
  int64_t headerBytes_ = 0;
  int64_t byteCountInHeader_ = -1;  // the header line's byte count field, from the record's start
  int64_t blockFirstValue_ = 0;     // values placed before the block being encoded
  bool finished_ = false;
};

}  // namespace travune
