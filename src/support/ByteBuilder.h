// Builds a byte image front to back with explicit little-endian fields, fixed-size and counted
// texts: file headers and description files are assembled with it. Header-only, so that the
// sample generator and the benchmarks use the same code as the library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "support/LittleEndian.h"

namespace travune {

class ByteBuilder {
 public:
  void U8(uint8_t v) { bytes_.push_back(v); }
  void U16(uint16_t v) { Field<2>(le::PutU16, v); }
  void I16(int16_t v) { Field<2>(le::PutI16, v); }
  void U32(uint32_t v) { Field<4>(le::PutU32, v); }
  void I32(int32_t v) { Field<4>(le::PutI32, v); }
  void U64(uint64_t v) { Field<8>(le::PutU64, v); }
  void F32(float v) { Field<4>(le::PutF32, v); }
  void F64(double v) { Field<8>(le::PutF64, v); }
  void Zeros(size_t n) { bytes_.insert(bytes_.end(), n, 0); }
  // text cut to size - 1 bytes, then zero-filled to size bytes (nothing for size 0).
  void FixedText(std::string_view text, size_t size) {
    if (size == 0) return;
    const size_t n = std::min(text.size(), size - 1);
    Text(text.substr(0, n));
    Zeros(size - n);
  }
  // A u32 length followed by the text's bytes, no terminator.
  void CountedText(std::string_view text) {
    U32(static_cast<uint32_t>(text.size()));
    Text(text);
  }
  void Text(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

  size_t Size() const { return bytes_.size(); }
  std::vector<uint8_t> Take() { return std::move(bytes_); }

 private:
  // Stores a field of n bytes with put and appends it.
  template <size_t n, class Put, class Value>
  void Field(Put put, Value v) {
    uint8_t field[n];
    put(field, v);
    bytes_.insert(bytes_.end(), field, field + n);
  }

  std::vector<uint8_t> bytes_;
};

}  // namespace travune
