// Cursor over a description image: binary reads, lines and separated fields, bounded by the
// image so that a truncated or hostile description can never be read past its end.
#include "source/DescReader.h"

#include <cstring>

#include "support/LittleEndian.h"

namespace travune {

DescReader::DescReader(const uint8_t* image, size_t size) : start_(image), size_(image ? size : 0), cursor_(image) {}

size_t DescReader::Read(void* dst, size_t n) {
  const size_t count = n < BytesLeft() ? n : BytesLeft();
  if (count > 0) std::memcpy(dst, cursor_, count);
  cursor_ += count;
  return count;
}

size_t DescReader::Seek(size_t pos) {
  if (pos > size_) pos = size_;
  cursor_ = start_ + pos;
  return pos;
}

size_t DescReader::SeekRel(int64_t delta) {
  const int64_t target = static_cast<int64_t>(Offset()) + delta;
  return Seek(target < 0 ? 0 : static_cast<size_t>(target));
}

bool DescReader::AtLineEnd() const { return AtEnd() || *cursor_ == 0 || IsLineEndByte(*cursor_); }

int DescReader::SkipLineEnd() {
  if (AtEnd() || !IsLineEndByte(*cursor_)) return 0;
  const uint8_t first = *cursor_++;
  if (!AtEnd() && IsLineEndByte(*cursor_) && *cursor_ != first) {
    ++cursor_;
    return 2;
  }
  return 1;
}

size_t DescReader::LineLength() const {
  const uint8_t* p = cursor_;
  const uint8_t* end = start_ + size_;
  while (p < end && *p != 0 && !IsLineEndByte(*p)) ++p;
  return static_cast<size_t>(p - cursor_);
}

size_t DescReader::FieldLength() const {
  const size_t line = LineLength();
  if (separator_.empty()) return line;
  const size_t sepLength = separator_.size();
  for (size_t i = 0; i + sepLength <= line; ++i) {
    if (std::memcmp(cursor_ + i, separator_.data(), sepLength) == 0) return i;
  }
  return line;
}

namespace {

void CopyCut(char* buf, size_t bufSize, const uint8_t* from, size_t length) {
  if (buf == nullptr || bufSize == 0) return;
  const size_t copied = length < bufSize ? length : bufSize - 1;
  std::memcpy(buf, from, copied);
  buf[copied] = '\0';
}

}  // namespace

size_t DescReader::ReadLine(char* buf, size_t bufSize) {
  if (AtEnd()) {
    if (buf != nullptr && bufSize > 0) buf[0] = '\0';
    return 0;
  }
  const size_t length = LineLength();
  if (buf == nullptr) return length;
  CopyCut(buf, bufSize, cursor_, length);
  cursor_ += length;
  // A zero byte ends the line too; step over it so that the next line can be read.
  if (!AtEnd() && *cursor_ == 0) {
    ++cursor_;
  } else {
    SkipLineEnd();
  }
  return length;
}

size_t DescReader::ReadToken(char* buf, size_t bufSize) {
  const size_t length = FieldLength();
  if (buf == nullptr) return length;
  CopyCut(buf, bufSize, cursor_, length);
  cursor_ += length;
  if (!separator_.empty() && BytesLeft() >= separator_.size() &&
      std::memcmp(cursor_, separator_.data(), separator_.size()) == 0) {
    cursor_ += separator_.size();
  }
  return length;
}

namespace {

template <typename T, T (*Decode)(const void*)>
bool ReadFixed(DescReader& reader, T* v) {
  uint8_t bytes[sizeof(T)];
  if (reader.Read(bytes, sizeof(T)) != sizeof(T)) return false;
  *v = Decode(bytes);
  return true;
}

}  // namespace

bool DescReader::ReadU16(uint16_t* v) { return ReadFixed<uint16_t, le::U16>(*this, v); }
bool DescReader::ReadI16(int16_t* v) { return ReadFixed<int16_t, le::I16>(*this, v); }
bool DescReader::ReadU32(uint32_t* v) { return ReadFixed<uint32_t, le::U32>(*this, v); }
bool DescReader::ReadI32(int32_t* v) { return ReadFixed<int32_t, le::I32>(*this, v); }
bool DescReader::ReadF32(float* v) { return ReadFixed<float, le::F32>(*this, v); }
bool DescReader::ReadF64(double* v) { return ReadFixed<double, le::F64>(*this, v); }

}  // namespace travune
