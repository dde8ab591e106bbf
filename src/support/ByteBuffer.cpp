// An owned byte block; a failed allocation leaves size 0 and no data.
#include "support/ByteBuffer.h"

#include <new>

namespace travune {

ByteBuffer::ByteBuffer(size_t n) {
  if (n == 0) return;
  data_ = new (std::nothrow) uint8_t[n];
  if (data_ != nullptr) size_ = n;
}

ByteBuffer::~ByteBuffer() { delete[] data_; }

}  // namespace travune
