// Explicit little-endian reads and writes of fixed-width values at byte addresses.
#pragma once

#include <cstdint>
#include <cstring>

namespace travune::le {

inline uint16_t U16(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return static_cast<uint16_t>(b[0] | (b[1] << 8));
}
inline int16_t I16(const void* p) { return static_cast<int16_t>(U16(p)); }
inline uint32_t U32(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return static_cast<uint32_t>(b[0]) | (static_cast<uint32_t>(b[1]) << 8) |
         (static_cast<uint32_t>(b[2]) << 16) | (static_cast<uint32_t>(b[3]) << 24);
}
inline int32_t I32(const void* p) { return static_cast<int32_t>(U32(p)); }
inline uint64_t U64(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return static_cast<uint64_t>(U32(b)) | (static_cast<uint64_t>(U32(b + 4)) << 32);
}
inline float F32(const void* p) {
  uint32_t u = U32(p);
  float f;
  std::memcpy(&f, &u, 4);
  return f;
}
inline double F64(const void* p) {
  uint64_t u = U64(p);
  double d;
  std::memcpy(&d, &u, 8);
  return d;
}

inline void PutU16(void* p, uint16_t v) {
  auto* b = static_cast<uint8_t*>(p);
  b[0] = static_cast<uint8_t>(v);
  b[1] = static_cast<uint8_t>(v >> 8);
}
inline void PutI16(void* p, int16_t v) { PutU16(p, static_cast<uint16_t>(v)); }
inline void PutU32(void* p, uint32_t v) {
  auto* b = static_cast<uint8_t*>(p);
  for (int i = 0; i < 4; ++i) b[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void PutI32(void* p, int32_t v) { PutU32(p, static_cast<uint32_t>(v)); }
inline void PutU64(void* p, uint64_t v) {
  PutU32(p, static_cast<uint32_t>(v));
  PutU32(static_cast<uint8_t*>(p) + 4, static_cast<uint32_t>(v >> 32));
}
inline void PutF32(void* p, float f) {
  uint32_t u;
  std::memcpy(&u, &f, 4);
  PutU32(p, u);
}
inline void PutF64(void* p, double d) {
  uint64_t u;
  std::memcpy(&u, &d, 8);
  PutU64(p, u);
}

}  // namespace travune::le
