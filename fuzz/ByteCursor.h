// Reads the fuzz targets' control values from the front of an input: bytes and little-endian
// words, zero once the input is used up, so that every input is a valid sequence of choices.
#pragma once

#include <cstddef>
#include <cstdint>

namespace travune::fuzz {

class ByteCursor {
 public:
  ByteCursor(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint32_t Word() {
    uint32_t value = 0;
    for (int shift = 0; shift < 32; shift += 8) value |= static_cast<uint32_t>(Byte()) << shift;
    return value;
  }
  int32_t SignedWord() { return static_cast<int32_t>(Word()); }
  // The next n bytes (fewer at the end of the input); the cursor moves past them.
  const uint8_t* Take(size_t n, size_t* taken) {
    const uint8_t* start = data_ + pos_;
    *taken = n < size_ - pos_ ? n : size_ - pos_;
    pos_ += *taken;
    return start;
  }
  size_t Remaining() const { return size_ - pos_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

}  // namespace travune::fuzz
