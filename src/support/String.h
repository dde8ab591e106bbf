// The library's own narrow text class: an owned zero-terminated text with exact growth.
#pragma once

#include <cstdint>

namespace travune {

class String {
 public:
  String();                        // empty (null text)
  explicit String(int32_t n);      // room for n characters, text of length 0
  explicit String(const char* text);
  String(const String& other);
  String& operator=(const String& other);
  String(String&& other) noexcept;
  String& operator=(String&& other) noexcept;
  ~String();

  // n < 1: text null, capacity 0. Otherwise n new bytes with text[0] = 0; on failure the text
  // stays null, capacity keeps n, and a message is printed to standard output.
  void Alloc(int32_t n);
  void Free();
  void Assign(const char* text);
  // Appends at most count characters of text (count -1: all of it).
  void Append(const char* text, int32_t count = -1);
  int32_t Length() const;
  bool IsEmpty() const { return text_ == nullptr; }

  // The text, or "" when empty; never null.
  const char* c_str() const { return text_ ? text_ : ""; }
  // The raw text pointer (null when empty).
  char* Data() { return text_; }
  int32_t Capacity() const { return capacity_; }

 private:
  char* text_ = nullptr;
  int32_t capacity_ = 0;
};

}  // namespace travune
