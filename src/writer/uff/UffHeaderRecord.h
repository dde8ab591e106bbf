// Dataset 151 of a UFF file: the data file's name, the application, and the dates of the data
// file and of the conversion.
#pragma once

#include "writer/uff/UffRecord.h"

namespace travune {

class UffHeaderRecord : public UffRecord {
 public:
  UffHeaderRecord(SrcFmt* source, char decimalMark) : UffRecord(source, decimalMark) {}

  // Appends the ten lines of the dataset to output; false when the write failed.
  bool WriteHeader(platform::File& output);
};

}  // namespace travune
