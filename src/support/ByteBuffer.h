// An owned block of bytes whose allocation failure shows as size 0.
#pragma once

#include <cstddef>
#include <cstdint>

namespace travune {

class ByteBuffer {
 public:
  explicit ByteBuffer(size_t n);
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;
  ~ByteBuffer();

  uint8_t* Data() { return data_; }
  const uint8_t* Data() const { return data_; }
  size_t Size() const { return size_; }

 private:
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace travune
