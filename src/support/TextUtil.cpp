// Small text and arithmetic helpers: bounded copy, trimming, duplication, rounding up.
#include "support/TextUtil.h"

#include <cstring>
#include <new>

namespace travune {

namespace {

bool InSet(char c, const char* set) { return c != '\0' && set != nullptr && std::strchr(set, c) != nullptr; }

}  // namespace

bool BoundedCopy(char* destination, const char* text, int64_t size) {
  if (destination == nullptr || size < 1) return false;
  if (text == nullptr) text = "";
  const size_t limit = static_cast<size_t>(size);
  const size_t length = strnlen(text, limit);
  if (length >= limit) {
    std::memmove(destination, text, limit - 1);
    destination[limit - 1] = '\0';
    return false;
  }
  std::memmove(destination, text, length + 1);
  return true;
}

char* Trim(char* text, const char* leadingSet, const char* trailingSet) {
  if (text == nullptr) return nullptr;
  size_t begin = 0;
  while (InSet(text[begin], leadingSet)) ++begin;
  size_t end = begin + std::strlen(text + begin);
  while (end > begin && InSet(text[end - 1], trailingSet)) --end;
  std::memmove(text, text + begin, end - begin);
  text[end - begin] = '\0';
  return text;
}

bool EqualsIgnoringAsciiCase(const char* a, const char* b) {
  const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    if (fold(*a) != fold(*b)) return false;
  }
  return *a == *b;
}

int64_t RoundUpToMultiple(int64_t x, int64_t m) {
  if (m <= 0) return x;
  const int64_t r = x % m;
  if (r <= 0) return x;
  int64_t rounded = 0;
  if (__builtin_add_overflow(x - r, m, &rounded)) return x;  // no representable multiple above x
  return rounded;
}

}  // namespace travune
