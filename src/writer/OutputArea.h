// The bounded output area a writer formats one block into: it knows its capacity, so a writer
// that produces more than it announced is caught instead of overwriting the raw input.
#pragma once

#include <cstddef>
#include <cstdint>

namespace travune {

class OutputArea {
 public:
  OutputArea(uint8_t* data, size_t capacity) : data_(data), capacity_(capacity) {}

  uint8_t* Data() const { return data_; }
  size_t Capacity() const { return capacity_; }
  // Bytes appended so far.
  size_t Size() const { return size_; }
  // True once a write was refused for lack of room; the block is then unusable.
  bool Overflowed() const { return overflowed_; }

  // n writable bytes at offset, or null (and the area marked overflowed) when they do not fit.
  uint8_t* At(size_t offset, size_t n);
  // n writable bytes after what was appended (they count as appended), or null when full.
  uint8_t* Extend(size_t n);
  // Copies n bytes after what was appended; false when they do not fit.
  bool Append(const void* bytes, size_t n);
  bool Append(char c) { return Append(&c, 1); }
  // Gives back the last n appended bytes (for a writer that reserved more than it used).
  void Shrink(size_t n) { size_ = n < size_ ? size_ - n : 0; }

 private:
  uint8_t* data_;
  size_t capacity_;
  size_t size_ = 0;
  bool overflowed_ = false;
};

}  // namespace travune
