// The binary form reuses the text writer's steps with binary channel records.
#include "writer/TgtFmtUff58Binary.h"

namespace travune {

TgtFmtUff58Binary::TgtFmtUff58Binary(SrcFmt* source, const WriterContext& context)
    : TgtFmtUff58Ascii(source, context, DataForm::kBinary) {}

}  // namespace travune
