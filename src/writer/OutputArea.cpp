// Bounded writes into a block's output area.
#include "writer/OutputArea.h"

#include <cstring>

namespace travune {

uint8_t* OutputArea::At(size_t offset, size_t n) {
  if (offset > capacity_ || n > capacity_ - offset) {
    overflowed_ = true;
    return nullptr;
  }
  return data_ + offset;
}

uint8_t* OutputArea::Extend(size_t n) {
  uint8_t* p = At(size_, n);
  if (p != nullptr) size_ += n;
  return p;
}

bool OutputArea::Append(const void* bytes, size_t n) {
  uint8_t* p = Extend(n);
  if (p == nullptr) return false;
  if (n > 0) std::memcpy(p, bytes, n);
  return true;
}

}  // namespace travune
