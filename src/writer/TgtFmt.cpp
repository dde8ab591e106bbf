// Default behaviour of a target writer: nothing to prepare, nothing to finish, no bytes.
#include "writer/TgtFmt.h"

namespace travune {

TgtFmt::~TgtFmt() = default;

bool TgtFmt::PreConvert(const char*, platform::File*, platform::File*, int64_t) { return true; }

bool TgtFmt::PostConvert() { return true; }

int64_t TgtFmt::ConvertDataBlock(int64_t, uint8_t*, int64_t) { return 0; }

}  // namespace travune
