// The input layout of the fuzz targets that need a whole acquisition: a fixed block of control
// bytes (each target's choices: source type, format, scan ranges, channels), the description's
// length as a 32-bit little-endian word, the description, and the data file (the rest).
// fuzz/pack_seeds.py writes seeds in this layout from the samples of `travune sample`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ByteCursor.h"

namespace travune::fuzz {

inline constexpr size_t kControlBytes = 16;
inline constexpr int32_t kFirstSourceType = 2;
inline constexpr int32_t kSourceTypeCount = 7;  // 2 .. 8
inline constexpr int32_t kCeldrinSourceType = 6;

struct AcquisitionImage {
  ByteCursor control{nullptr, 0};
  const uint8_t* desc = nullptr;
  size_t descSize = 0;
  const uint8_t* data = nullptr;
  size_t dataSize = 0;
};

inline AcquisitionImage SplitAcquisition(const uint8_t* bytes, size_t size) {
  ByteCursor whole(bytes, size);
  AcquisitionImage image;
  size_t taken = 0;
  const uint8_t* control = whole.Take(kControlBytes, &taken);
  image.control = ByteCursor(control, taken);
  image.desc = whole.Take(whole.Word(), &image.descSize);
  image.data = whole.Take(whole.Remaining(), &image.dataSize);
  return image;
}

// The source type a control byte selects: 2 .. 8.
inline int32_t SourceTypeOf(uint8_t selector) { return kFirstSourceType + selector % kSourceTypeCount; }

}  // namespace travune::fuzz
