// WAV decoder: walks the RIFF chunks instead of assuming the 44-byte head, so a file with
// other chunk orders or sizes would be read (or refused) as a player would.
#include "writer/decoders/WavDecoder.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

namespace travune::testing {
namespace {

struct WavHead {
  uint16_t formatTag = 0;  // 1: PCM
  uint16_t channels = 0;
  uint16_t blockAlign = 0;
  uint16_t bitsPerSample = 0;
  uint32_t dataBytes = 0;  // the data chunk's size field
  size_t dataOffset = 0;   // where the frames start
  bool ok = false;         // RIFF/WAVE with a "fmt " chunk before a "data" chunk
};

std::vector<uint8_t> ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return {};
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

uint16_t U16At(const std::vector<uint8_t>& b, size_t at) { return static_cast<uint16_t>(b[at] | b[at + 1] << 8); }
uint32_t U32At(const std::vector<uint8_t>& b, size_t at) {
  return static_cast<uint32_t>(U16At(b, at)) | static_cast<uint32_t>(U16At(b, at + 2)) << 16;
}
bool TagAt(const std::vector<uint8_t>& b, size_t at, const char* tag) {
  return at + 4 <= b.size() && std::memcmp(&b[at], tag, 4) == 0;
}

WavHead HeadOf(const std::vector<uint8_t>& bytes) {
  WavHead head;
  if (!TagAt(bytes, 0, "RIFF") || !TagAt(bytes, 8, "WAVE")) return head;
  bool haveFormat = false;
  // Chunks: 4-byte tag, 4-byte size, the body padded to an even length.
  for (size_t at = 12; at + 8 <= bytes.size();) {
    const uint32_t size = U32At(bytes, at + 4);
    if (TagAt(bytes, at, "fmt ") && size >= 16 && at + 8 + 16 <= bytes.size()) {
      head.formatTag = U16At(bytes, at + 8);
      head.channels = U16At(bytes, at + 10);
      head.blockAlign = U16At(bytes, at + 20);
      head.bitsPerSample = U16At(bytes, at + 22);
      haveFormat = true;
    } else if (TagAt(bytes, at, "data")) {
      head.dataBytes = size;
      head.dataOffset = at + 8;
      head.ok = haveFormat;
      return head;
    }
    at += 8 + static_cast<size_t>(size) + (size & 1u);
  }
  return head;
}

}  // namespace

Decoded DecodeWav(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  const std::vector<uint8_t> bytes = ReadBytes(dataPath);
  const WavHead head = HeadOf(bytes);
  if (!head.ok || head.formatTag != 1 || head.bitsPerSample != 16 || head.channels == 0 ||
      head.blockAlign != 2 * head.channels) {
    return decoded;
  }
  const size_t present = std::min<size_t>(head.dataBytes, bytes.size() - head.dataOffset);
  decoded.chans = head.channels;
  decoded.scans = static_cast<int64_t>(present / head.blockAlign);
  decoded.values.reserve(static_cast<size_t>(decoded.scans) * head.channels);
  for (size_t i = 0; i < static_cast<size_t>(decoded.scans) * head.channels; ++i) {
    decoded.values.push_back(static_cast<int16_t>(U16At(bytes, head.dataOffset + 2 * i)));
  }
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
