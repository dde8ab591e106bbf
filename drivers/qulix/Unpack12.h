// Expands 12-bit samples packed four to six bytes into 16-bit words, in place.
#pragma once

#include <cstdint>

namespace travune::qulix {

// Unpacks the groups holding the first `samples` samples of block (rounded up to whole
// groups of four). Group g's bytes b0..b5 at 6g become the four little-endian words at 8g:
// (b0 | (b1 & 0x0F) << 8) << 4, (b1 >> 4 | b2 << 4) << 4, (b3 | (b4 & 0x0F) << 8) << 4,
// (b4 >> 4 | b5 << 4) << 4. The block must hold 8 bytes per group; samples > 0.
void UnpackTwelveBitGroups(uint8_t* block, int64_t samples);

}  // namespace travune::qulix
