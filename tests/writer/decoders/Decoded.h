// What a test decoder reads back from a converted file: the values it holds, scan after scan,
// and how closely they can match the scaled values (the format's printed precision).
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace travune::testing {

struct Decoded {
  int64_t scans = 0;
  int32_t chans = 0;
  std::vector<double> values;  // scans × chans, scan after scan
  // A decoded value v matches a scaled value x when |v - x| <= absTolerance + relTolerance * |x|
  // (0 and 0 for formats that hold the float32 or the double itself).
  double absTolerance = 0.0;
  double relTolerance = 0.0;
  bool ok = false;  // false when the file could not be decoded
};

// The whole file, or "" when it cannot be read.
inline std::string FileContents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The unsigned little-endian number of width bytes at bytes[at].
inline uint64_t LittleEndianWord(const std::string& bytes, size_t at, int width) {
  uint64_t v = 0;
  for (int i = width - 1; i >= 0; --i) v = (v << 8) | static_cast<uint8_t>(bytes[at + static_cast<size_t>(i)]);
  return v;
}

inline float LittleEndianFloat(const char* p) {
  uint32_t u = 0;
  for (int i = 3; i >= 0; --i) u = (u << 8) | static_cast<uint8_t>(p[i]);
  float f;
  std::memcpy(&f, &u, 4);
  return f;
}

inline double LittleEndianDouble(const std::string& bytes, size_t at) {
  const uint64_t u = LittleEndianWord(bytes, at, 8);
  double d;
  std::memcpy(&d, &u, 8);
  return d;
}

}  // namespace travune::testing
