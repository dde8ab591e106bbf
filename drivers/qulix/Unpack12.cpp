// In-place expansion of packed 12-bit samples.
#include "Unpack12.h"

#include "support/LittleEndian.h"

namespace travune::qulix {
namespace {

constexpr int64_t kSamplesPerGroup = 4;
constexpr int64_t kPackedGroupBytes = 6;
constexpr int64_t kUnpackedGroupBytes = 8;

// A 12-bit sample as the 16-bit word that carries it in its top bits.
uint16_t Widen(unsigned sample) { return static_cast<uint16_t>(sample << 4); }

void UnpackGroup(uint8_t* block, int64_t group) {
  // Read all six bytes before writing: the group's output overlaps its own input.
  const uint8_t* in = block + group * kPackedGroupBytes;
  const unsigned b0 = in[0], b1 = in[1], b2 = in[2], b3 = in[3], b4 = in[4], b5 = in[5];
  uint8_t* out = block + group * kUnpackedGroupBytes;
  le::PutU16(out, Widen(b0 | (b1 & 0x0Fu) << 8));
  le::PutU16(out + 2, Widen(b1 >> 4 | b2 << 4));
  le::PutU16(out + 4, Widen(b3 | (b4 & 0x0Fu) << 8));
  le::PutU16(out + 6, Widen(b4 >> 4 | b5 << 4));
}

}  // namespace

void UnpackTwelveBitGroups(uint8_t* block, int64_t samples) {
  // Last group first: group g writes bytes 8g .. 8g+7, which only overlap the packed bytes
  // of groups g and later, so every earlier group is still intact when its turn comes.
  const int64_t groups = (samples + kSamplesPerGroup - 1) / kSamplesPerGroup;
  for (int64_t group = groups - 1; group >= 0; --group) UnpackGroup(block, group);
}

}  // namespace travune::qulix
