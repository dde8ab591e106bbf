// Little-endian field appends for ByteBuilder.
#include "samples/ByteBuilder.h"

#include <algorithm>
#include <bit>

namespace travune::samples {

void StoreF32(uint8_t* p, float v) {
  const uint32_t u = std::bit_cast<uint32_t>(v);
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(u >> (8 * i));
}

void ByteBuilder::U16(uint16_t v) {
  U8(static_cast<uint8_t>(v));
  U8(static_cast<uint8_t>(v >> 8));
}

void ByteBuilder::U32(uint32_t v) {
  for (int i = 0; i < 4; ++i) U8(static_cast<uint8_t>(v >> (8 * i)));
}

void ByteBuilder::U64(uint64_t v) {
  U32(static_cast<uint32_t>(v));
  U32(static_cast<uint32_t>(v >> 32));
}

void ByteBuilder::F32(float v) { U32(std::bit_cast<uint32_t>(v)); }

void ByteBuilder::F64(double v) { U64(std::bit_cast<uint64_t>(v)); }

void ByteBuilder::FixedText(std::string_view text, size_t size) {
  if (size == 0) return;
  const size_t n = std::min(text.size(), size - 1);
  Text(text.substr(0, n));
  Zeros(size - n);
}

void ByteBuilder::CountedText(std::string_view text) {
  U32(static_cast<uint32_t>(text.size()));
  Text(text);
}

}  // namespace travune::samples
