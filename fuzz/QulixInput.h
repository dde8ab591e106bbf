// The driver-library fuzz target's work on one input, shared by the libFuzzer target and the
// regression test that replays the seeds: the driver library's entries (12-bit unpack,
// thermocouple, RTD) with argument values and words taken from the input, each buffer exactly
// as large as the entry may use, and the promises of qulix.h checked on every result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Promise.h"
#include "qulix.h"
#include "support/LittleEndian.h"

namespace travune::fuzz {
namespace qulix_input {

// Reads little-endian values front to back; bytes past the end read as zero.
class InputCursor {
 public:
  InputCursor(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  uint8_t U8() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint16_t U16() {
    const uint8_t low = U8();
    return static_cast<uint16_t>(low | U8() << 8);
  }
  int32_t I32() {
    const uint16_t low = U16();
    return static_cast<int32_t>(low | static_cast<uint32_t>(U16()) << 16);
  }
  // Fills out with the next bytes.
  void Bytes(std::vector<uint8_t>* out) {
    for (uint8_t& b : *out) b = U8();
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

// One group of four samples, as the unpack routine documents the packing.
inline uint16_t PackedSample(const uint8_t* group, int index) {
  switch (index) {
    case 0: return static_cast<uint16_t>(group[0] | (group[1] & 0x0F) << 8);
    case 1: return static_cast<uint16_t>(group[1] >> 4 | group[2] << 4);
    case 2: return static_cast<uint16_t>(group[3] | (group[4] & 0x0F) << 8);
    default: return static_cast<uint16_t>(group[4] >> 4 | group[5] << 4);
  }
}

inline void FuzzUnpack(InputCursor& in) {
  const int32_t count = static_cast<int8_t>(in.U8());
  const int32_t channels = static_cast<int8_t>(in.U8()) / 8;
  const int64_t samples = count > 0 && channels > 0 ? int64_t{count} * channels : 0;
  const int64_t groups = (samples + 3) / 4;
  // Whole groups: 6 packed bytes in, 8 unpacked bytes out.
  std::vector<uint8_t> block(static_cast<size_t>(groups * 8));
  in.Bytes(&block);
  const std::vector<uint8_t> packed = block;
  Expect(QlxUnpack12(block.empty() ? nullptr : block.data(), 0, count, count, channels) ==
             (block.empty() ? QLX_ERR_ARGUMENT : QLX_OK),
         "QlxUnpack12 fails exactly for a null block");
  for (int64_t i = 0; i < samples; ++i) {
    const uint16_t expected = static_cast<uint16_t>(PackedSample(&packed[static_cast<size_t>(i / 4 * 6)], i % 4) << 4);
    Expect(le::U16(&block[static_cast<size_t>(2 * i)]) == expected, "QlxUnpack12 gives sample << 4");
  }
}

inline void FuzzThermocouple(InputCursor& in) {
  const int32_t gain = in.I32();
  const int32_t kind = in.I32();
  const int32_t numWords = static_cast<int8_t>(in.U8()) % 4;
  // Exactly the words the count allows; none for a count the entry must refuse.
  std::vector<uint8_t> words(numWords == 1 || numWords == 2 ? static_cast<size_t>(2 * numWords) : 0);
  in.Bytes(&words);
  std::vector<uint8_t> out(2);
  const int32_t status =
      QlxThermocouple(2, 0, 1, gain, kind, 1, words.empty() ? nullptr : words.data(), 1, out.data(), numWords);
  if (status != QLX_OK) return;
  Expect(numWords == 1 || numWords == 2, "QlxThermocouple refuses word counts other than 1 and 2");
  Expect((kind & 0xFF) >= 1 && (kind & 0xFF) <= 8, "QlxThermocouple refuses sensor kinds other than 1..8");
}

inline void FuzzRtd(InputCursor& in) {
  const int32_t gain = in.I32();
  std::vector<uint8_t> words(8);
  in.Bytes(&words);
  std::vector<uint8_t> out(2);
  const int32_t status = QlxRtd(1, 0, 1, gain, 1, words.data(), 1, out.data(), 1);
  if (status != QLX_OK) return;
  const int16_t tenths = le::I16(out.data());
  Expect(tenths >= -2000 && tenths <= 8500, "QlxRtd succeeds only within -200..850 degrees");
  Expect(le::U16(&words[4]) != le::U16(&words[6]), "QlxRtd refuses r_hi = r_lo");
}

}  // namespace qulix_input

inline void ExerciseQulix(const uint8_t* data, size_t size) {
  qulix_input::InputCursor in(data, size);
  switch (in.U8() % 3) {
    case 0: qulix_input::FuzzUnpack(in); break;
    case 1: qulix_input::FuzzThermocouple(in); break;
    default: qulix_input::FuzzRtd(in); break;
  }
}

}  // namespace travune::fuzz
