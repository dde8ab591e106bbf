// Dataset 1858 of a UFF file: the qualifiers that precede a channel's dataset 58 in the text
// form (rates and pre-trigger count, everything else zero or NONE).
#pragma once

#include <string>

#include "writer/uff/UffRecord.h"

namespace travune {

class UffQualifierRecord : public UffRecord {
 public:
  UffQualifierRecord(SrcFmt* source, char decimalMark) : UffRecord(source, decimalMark) {}

  // Creates the channel's temporary file at path (which must not exist yet) and writes the
  // ten lines of the dataset into it; false when the file could not be created or written.
  bool WriteQualifiers(const std::string& path);
};

}  // namespace travune
