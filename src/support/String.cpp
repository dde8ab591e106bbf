// The library's narrow text class: exact-size allocation, null text as the empty state.
#include "support/String.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

namespace travune {

namespace {

// The process-wide text of length 0 that starts or resets texts.
const char kEmptyText[] = "";

void ReportAllocFailure(uint32_t n) { std::printf("String::Alloc( %u ) failed.\n", n); }

bool PointsInto(const char* p, const char* block, int32_t size) {
  return block != nullptr && p >= block && p < block + size;
}

}  // namespace

String::String() { Alloc(0); }

String::String(int32_t n) { Alloc(n < INT32_MAX ? n + 1 : n); }

String::String(const char* text) { Assign(text); }

String::String(const String& other) { Assign(other.text_); }

String& String::operator=(const String& other) {
  if (this != &other) Assign(other.text_);
  return *this;
}

String::String(String&& other) noexcept : text_(other.text_), capacity_(other.capacity_) {
  other.text_ = nullptr;
  other.capacity_ = 0;
}

String& String::operator=(String&& other) noexcept {
  if (this != &other) {
    Free();
    text_ = other.text_;
    capacity_ = other.capacity_;
    other.text_ = nullptr;
    other.capacity_ = 0;
  }
  return *this;
}

String::~String() { Free(); }

void String::Alloc(int32_t n) {
  Free();
  if (n < 1) return;
  capacity_ = n;
  text_ = new (std::nothrow) char[static_cast<size_t>(n)];
  if (text_ == nullptr) {
    ReportAllocFailure(static_cast<uint32_t>(n));
    return;
  }
  text_[0] = '\0';
}

void String::Free() {
  delete[] text_;
  text_ = nullptr;
  capacity_ = 0;
}

void String::Assign(const char* text) {
  if (PointsInto(text, text_, capacity_)) {
    // The source lives in our own buffer, which Free releases: copy it out first.
    const String copy(text);
    Assign(copy.text_);
    return;
  }
  if (text == nullptr) {
    Alloc(0);
    return;
  }
  const size_t length = std::strlen(text);
  if (length >= static_cast<size_t>(INT32_MAX)) {
    Free();
    ReportAllocFailure(static_cast<uint32_t>(length + 1));
    return;
  }
  Alloc(static_cast<int32_t>(length + 1));
  if (text_ != nullptr) std::memcpy(text_, text, length + 1);
}

void String::Append(const char* text, int32_t count) {
  if (text == nullptr || text[0] == '\0') return;
  if (PointsInto(text, text_, capacity_)) {
    const String copy(text);
    Append(copy.text_, count);
    return;
  }
  if (IsEmpty()) Assign(kEmptyText);
  if (IsEmpty()) return;
  const size_t current = static_cast<size_t>(Length());
  const size_t added = std::strlen(text);
  const size_t needed = current + added + 1;
  if (needed > static_cast<size_t>(INT32_MAX)) {
    Free();
    ReportAllocFailure(static_cast<uint32_t>(needed));
    return;
  }
  if (static_cast<size_t>(capacity_) < needed) {
    // Grow to exactly the new size and bring the old contents over.
    char* old = text_;
    text_ = nullptr;
    Alloc(static_cast<int32_t>(needed));
    if (text_ != nullptr) std::memcpy(text_, old, current + 1);
    delete[] old;
    if (text_ == nullptr) return;
  }
  const size_t copied = count < 0 ? added : std::min(added, static_cast<size_t>(count));
  std::memcpy(text_ + current, text, copied);
  text_[current + copied] = '\0';
}

int32_t String::Length() const { return text_ == nullptr ? 0 : static_cast<int32_t>(std::strlen(text_)); }

}  // namespace travune
