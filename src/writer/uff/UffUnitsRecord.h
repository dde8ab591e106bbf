// Dataset 164 of a UFF file: the user-defined unit system with unit conversion factors of one.
#pragma once

#include "writer/uff/UffRecord.h"

namespace travune {

class UffUnitsRecord : public UffRecord {
 public:
  // binary: true for the binary writer, whose factors keep the exponent letter E; the text
  // writer's factors carry the letter D.
  UffUnitsRecord(SrcFmt* source, char decimalMark, bool binary)
      : UffRecord(source, decimalMark), binary_(binary) {}

  // Appends the six lines of the dataset to output; false when the write failed.
  bool WriteUnits(platform::File& output);

 private:
  bool binary_;
};

}  // namespace travune
