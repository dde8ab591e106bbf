// Growable array of non-owned pointers; every Add and RemoveAt reallocates to the exact size.
#include "support/PtrArray.h"

#include <cstddef>
#include <new>

namespace travune {

PtrArray::~PtrArray() { Clear(); }

bool PtrArray::Add(void* item) {
  if (count_ == INT32_MAX) return false;
  void** grown = new (std::nothrow) void*[static_cast<size_t>(count_) + 1];
  if (grown == nullptr) return false;
  for (int32_t i = 0; i < count_; ++i) grown[i] = items_[i];
  grown[count_] = item;
  delete[] items_;
  items_ = grown;
  ++count_;
  return true;
}

void* PtrArray::RemoveAt(int32_t index) {
  if (index < 0 || index >= count_) return nullptr;
  void* removed = items_[index];
  const int32_t remaining = count_ - 1;
  void** shrunk = remaining > 0 ? new (std::nothrow) void*[static_cast<size_t>(remaining)] : nullptr;
  if (remaining > 0 && shrunk == nullptr) {
    // No memory for the smaller array: close the gap in the old one, which stays large enough.
    for (int32_t i = index; i < remaining; ++i) items_[i] = items_[i + 1];
    count_ = remaining;
    return removed;
  }
  for (int32_t i = 0, j = 0; i < count_; ++i) {
    if (i != index) shrunk[j++] = items_[i];
  }
  delete[] items_;
  items_ = shrunk;
  count_ = remaining;
  return removed;
}

void* PtrArray::At(int32_t index) const {
  if (index < 0 || index >= count_) return nullptr;
  return items_[index];
}

void PtrArray::Clear() {
  delete[] items_;
  items_ = nullptr;
  count_ = 0;
}

}  // namespace travune
