// Cursor over the in-memory image of a description file: binary records, text lines and
// separated fields, never reading past the end of the image.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace travune {

class DescReader {
 public:
  DescReader(const uint8_t* image, size_t size);

  size_t Read(void* dst, size_t n);            // copies min(n, bytes left); returns the count
  size_t Seek(size_t pos);                     // clamps to the image; returns the position
  size_t SeekRel(int64_t delta);               // Seek(current + delta), clamped at 0 and size
  void Back(size_t n) { SeekRel(-static_cast<int64_t>(n)); }
  size_t Offset() const { return static_cast<size_t>(cursor_ - start_); }
  size_t Size() const { return size_; }
  size_t BytesLeft() const { return size_ - Offset(); }
  bool AtEnd() const { return cursor_ >= start_ + size_; }
  const uint8_t* CurPtr() const { return cursor_; }
  const uint8_t* Start() const { return start_; }
  bool AtLineEnd() const;                      // a line-end byte or a zero byte (or the end)
  int SkipLineEnd();                           // "\r\n" and "\n\r" are one line end
  // Reads one line into buf (cut to bufSize - 1 characters, the rest of the line skipped);
  // returns the line's full length. With a null buf only returns the length, not moving.
  size_t ReadLine(char* buf, size_t bufSize);
  // Reads one field up to the separator or the line end (the separator is consumed, the line
  // end is not). Cut like ReadLine. With a null buf only returns the length.
  size_t ReadToken(char* buf, size_t bufSize);
  void SetSeparator(const char* text) { separator_ = text ? text : ""; }
  const std::string& Separator() const { return separator_; }

  // Little-endian fixed-width reads; each returns false (and advances to the end) when the
  // image holds fewer bytes than needed.
  bool ReadU16(uint16_t* v);
  bool ReadI16(int16_t* v);
  bool ReadU32(uint32_t* v);
  bool ReadI32(int32_t* v);
  bool ReadF32(float* v);
  bool ReadF64(double* v);

 private:
  bool IsLineEndByte(uint8_t c) const { return c == '\n' || c == '\r'; }
  size_t FieldLength() const;
  size_t LineLength() const;

  const uint8_t* start_;
  size_t size_;
  const uint8_t* cursor_;
  std::string separator_ = ",";
};

}  // namespace travune
