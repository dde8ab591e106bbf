// A growable array of untyped, non-owned pointers that reallocates exactly on every change.
#pragma once

#include <cstdint>

namespace travune {

class PtrArray {
 public:
  PtrArray() = default;
  PtrArray(const PtrArray&) = delete;
  PtrArray& operator=(const PtrArray&) = delete;
  virtual ~PtrArray();

  bool Add(void* item);             // false when the array could not grow (it stays unchanged)
  void* RemoveAt(int32_t index);    // null for an index out of range
  void* At(int32_t index) const;    // null for an index out of range
  int32_t Count() const { return count_; }
  void Clear();                     // frees the array, not the items

 private:
  int32_t count_ = 0;
  void** items_ = nullptr;
};

}  // namespace travune
