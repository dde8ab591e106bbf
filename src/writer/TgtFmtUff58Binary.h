// UFF 58 binary writer: the text writer's file with every dataset 58 in binary form (32-bit
// little-endian floats after the text records), no qualifier datasets, and dataset 164 with the
// exponent letter E.
#pragma once

#include "writer/TgtFmtUff58Ascii.h"

namespace travune {

class TgtFmtUff58Binary : public TgtFmtUff58Ascii {
 public:
  TgtFmtUff58Binary(SrcFmt* source, const WriterContext& context);
};

}  // namespace travune
