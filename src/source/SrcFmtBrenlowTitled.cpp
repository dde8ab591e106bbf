// The Brenlow reader under another application's title.
#include "source/SrcFmtBrenlowTitled.h"

namespace travune {

SrcFmtBrenlowTitled::SrcFmtBrenlowTitled(const uint8_t* image, size_t size, const char* title)
    : SrcFmtBrenlow(image, size) {
  title_.Assign(title);
  if (title != nullptr && title_.IsEmpty()) SetStatus(-1);
}

SrcFmtBrenlowTitled::~SrcFmtBrenlowTitled() = default;

}  // namespace travune
