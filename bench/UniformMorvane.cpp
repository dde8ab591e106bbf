// Writing the uniform Morvane acquisitions of the small benchmarks: a 32-byte header, 56-byte
// channel records (bipolar, gain 1, scale 1, offset 0) and 16-bit little-endian raw words.
#include "UniformMorvane.h"

#include <cstdio>
#include <vector>

#include "support/ByteBuilder.h"
#include "support/LittleEndian.h"

namespace travune::bench {
namespace {

constexpr float kScanRate = 1000.0f;

std::vector<uint8_t> Description(const UniformMorvane& request) {
  ByteBuilder b;
  b.I32(5040);
  b.I32(request.channels);
  b.U32(static_cast<uint32_t>(request.scans));
  b.U32(0);  // pre-trigger scans
  b.I32(0);
  b.I32(0);
  b.I32(0);  // first channel: no exchange of raw places
  b.F32(kScanRate);
  for (int32_t chan = 0; chan < request.channels; ++chan) {
    b.F32(1.0f);  // gain
    b.I32(0);
    b.I32(request.type);
    b.I32(0);
    b.F32(1.0f);  // scale
    b.F32(0.0f);  // offset
    b.I32(1);     // bipolar
    b.I32(0);     // device code
    b.FixedText("Ch" + std::to_string(chan), 12);
    b.FixedText("V", 12);
  }
  return b.Take();
}

// Raw words from a 32-bit linear congruential sequence (high half), so that neighbouring
// samples differ the way real signals' low bits do.
std::vector<uint8_t> RawWords(const UniformMorvane& request) {
  std::vector<uint8_t> bytes(static_cast<size_t>(request.DataBytes()));
  uint32_t state = 12345;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    state = state * 1664525u + 1013904223u;
    le::PutU16(&bytes[i], static_cast<uint16_t>(state >> 16));
  }
  return bytes;
}

std::string WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return "cannot create " + path;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const bool closed = std::fclose(file) == 0;
  return written && closed ? std::string() : "cannot write " + path;
}

}  // namespace

std::string UniformMorvane::Write(const std::string& descPath, const std::string& dataPath) const {
  std::string error = WriteFile(descPath, Description(*this));
  if (error.empty()) error = WriteFile(dataPath, RawWords(*this));
  return error;
}

}  // namespace travune::bench
