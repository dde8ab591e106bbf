// A buffer handed out again for every input: n elements that end where its one allocation ends,
// with everything before them poisoned, so that the sanitizer bounds writes to them as it would
// bound a fresh allocation of n, without the allocation, zero fill and page faults per input.
#pragma once

#include <cstddef>
#include <memory>

// Toolchains without the sanitizer's header (the Windows cross-compiler) build without poisoning.
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace travune::fuzz {

template <typename T>
class TailBuffer {
 public:
  explicit TailBuffer(size_t capacity) : capacity_(capacity), storage_(new T[capacity]) {}
  TailBuffer(const TailBuffer&) = delete;
  TailBuffer& operator=(const TailBuffer&) = delete;

  // The last n elements (n at most the capacity). The earlier ones stay poisoned until the next
  // call, but for the part of an 8-byte granule that the sanitizer cannot mark apart.
  T* Take(size_t n) {
    T* base = storage_.get();
    ASAN_UNPOISON_MEMORY_REGION(base, capacity_ * sizeof(T));
    ASAN_POISON_MEMORY_REGION(base, (capacity_ - n) * sizeof(T));
    return base + (capacity_ - n);
  }

 private:
  size_t capacity_;
  std::unique_ptr<T[]> storage_;
};

}  // namespace travune::fuzz
