// Test helper: assembles Tarquil description headers, channel records and whole description
// images byte by byte, and packs 12-bit samples the way the acquisition hardware stores them.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/LittleEndian.h"

namespace travune::testutil {

struct TarquilHeaderFields {
  uint16_t numChans = 0;
  uint32_t progScans = 0;
  float preTrigRate = 0.0f;
  float postTrigRate = 0.0f;
  int32_t preTrigCount = 0;
  uint32_t packed = 0;
};

struct TarquilChannelFields {
  uint32_t rangeWord = 1;
  float userScale = 1.0f;
  float userOffset = 0.0f;
  uint32_t flags = 0;
  float altOffset = 0.0f;
  std::string label = "ch";
  std::string units = "V";
};

inline uint32_t FloatBits(float f) {
  uint32_t u = 0;
  std::memcpy(&u, &f, sizeof u);
  return u;
}

inline std::vector<uint8_t> TarquilHeaderBytes(const TarquilHeaderFields& h) {
  std::vector<uint8_t> b(26, 0);
  le::PutU16(&b[0], h.numChans);
  le::PutU32(&b[2], h.progScans);
  le::PutU32(&b[6], 0xA5A5A5A5u);
  le::PutF32(&b[10], h.preTrigRate);
  le::PutF32(&b[14], h.postTrigRate);
  le::PutI32(&b[18], h.preTrigCount);
  le::PutU32(&b[22], h.packed);
  return b;
}

// Labels and units longer than 9 bytes are cut to 9 (then unterminated).
inline std::vector<uint8_t> TarquilChannelBytes(const std::vector<TarquilChannelFields>& channels) {
  std::vector<uint8_t> b(38 * channels.size(), 0);
  for (size_t i = 0; i < channels.size(); ++i) {
    const TarquilChannelFields& c = channels[i];
    uint8_t* p = &b[38 * i];
    le::PutU32(p, c.rangeWord);
    le::PutF32(p + 4, c.userScale);
    le::PutF32(p + 8, c.userOffset);
    le::PutU32(p + 12, c.flags);
    le::PutF32(p + 16, c.altOffset);
    std::memcpy(p + 20, c.label.data(), c.label.size() < 9 ? c.label.size() : 9);
    std::memcpy(p + 29, c.units.data(), c.units.size() < 9 ? c.units.size() : 9);
  }
  return b;
}

// Header, channel records and the four trailing bytes of a description file.
inline std::vector<uint8_t> TarquilImage(const TarquilHeaderFields& h, const std::vector<TarquilChannelFields>& c) {
  std::vector<uint8_t> image = TarquilHeaderBytes(h);
  const std::vector<uint8_t> records = TarquilChannelBytes(c);
  image.insert(image.end(), records.begin(), records.end());
  image.insert(image.end(), {0xDE, 0xAD, 0xBE, 0xEF});
  return image;
}

// Packs 12-bit samples four to six bytes: s0 = b0 | (b1 & 0x0F) << 8, s1 = b1 >> 4 | b2 << 4,
// s2 = b3 | (b4 & 0x0F) << 8, s3 = b4 >> 4 | b5 << 4; a last partial group is padded with 0xFFF.
inline std::vector<uint8_t> PackTwelveBit(const std::vector<uint16_t>& samples) {
  std::vector<uint8_t> out;
  for (size_t g = 0; g < samples.size(); g += 4) {
    uint16_t s[4];
    for (size_t k = 0; k < 4; ++k) s[k] = g + k < samples.size() ? samples[g + k] : 0xFFF;
    out.push_back(static_cast<uint8_t>(s[0] & 0xFF));
    out.push_back(static_cast<uint8_t>((s[0] >> 8) | ((s[1] & 0x0F) << 4)));
    out.push_back(static_cast<uint8_t>(s[1] >> 4));
    out.push_back(static_cast<uint8_t>(s[2] & 0xFF));
    out.push_back(static_cast<uint8_t>((s[2] >> 8) | ((s[3] & 0x0F) << 4)));
    out.push_back(static_cast<uint8_t>(s[3] >> 4));
  }
  return out;
}

}  // namespace travune::testutil
