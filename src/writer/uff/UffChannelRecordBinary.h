// Dataset 58 of one channel in the binary form: the header line declares little-endian IEEE
// floats and their byte count, and the values follow the text records as 32-bit floats.
#pragma once

#include <string>

#include "writer/uff/UffChannelRecord.h"

namespace travune {

class UffChannelRecordBinary : public UffChannelRecord {
 public:
  UffChannelRecordBinary(SrcFmt* source, char decimalMark) : UffChannelRecord(source, decimalMark) {}

  // Creates the channel's temporary file at path (which must not exist yet) with the header.
  bool BeginChannel(int32_t chan, const std::string& path) override;
  // Appends the channel's values as floats, each preceded by its time without even spacing.
  bool AppendBlock(const UffBlock& block) override;

 protected:
  bool CorrectDeclaredCounts(platform::File& file) override;

 private:
  int64_t BytesPerValue() const { return evenSpacing_ ? 4 : 8; }

  int64_t byteCountOffset_ = -1;  // the header line's byte count field in the temporary file
};

}  // namespace travune
