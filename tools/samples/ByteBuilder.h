// Builds a byte image front to back with explicit little-endian fields, fixed-size and counted
// texts: the description files of the samples are assembled with it.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace travune::samples {

// Little-endian stores at an address, for filling raw scans in place.
inline void StoreU16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
void StoreF32(uint8_t* p, float v);

class ByteBuilder {
 public:
  void U8(uint8_t v) { bytes_.push_back(v); }
  void U16(uint16_t v);
  void I16(int16_t v) { U16(static_cast<uint16_t>(v)); }
  void U32(uint32_t v);
  void I32(int32_t v) { U32(static_cast<uint32_t>(v)); }
  void U64(uint64_t v);
  void F32(float v);
  void F64(double v);
  void Zeros(size_t n) { bytes_.insert(bytes_.end(), n, 0); }
  // text cut to size − 1 bytes, then zero-filled to size bytes.
  void FixedText(std::string_view text, size_t size);
  // A u32 length followed by the text's bytes, no terminator.
  void CountedText(std::string_view text);
  void Text(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

  std::vector<uint8_t> Take() { return std::move(bytes_); }

 private:
  std::vector<uint8_t> bytes_;
};

}  // namespace travune::samples
