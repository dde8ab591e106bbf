// WAV decoder: a RIFF WAVE file of 16-bit PCM whose "fmt " chunk of 16 bytes is followed by the
// "data" chunk; the frames present, at most as many as the data chunk announces.
#include "writer/decoders/Decoders.h"

#include <algorithm>

namespace travune::testing {

Decoded DecodeWav(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  const std::string bytes = FileContents(dataPath);
  constexpr size_t kHead = 44;
  if (bytes.size() < kHead || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 8, "WAVEfmt ") != 0 ||
      bytes.compare(36, 4, "data") != 0) {
    return decoded;
  }
  const uint64_t channels = LittleEndianWord(bytes, 22, 2);
  const uint64_t dataBytes = LittleEndianWord(bytes, 40, 4);
  if (LittleEndianWord(bytes, 16, 4) != 16 || LittleEndianWord(bytes, 20, 2) != 1 || channels == 0 ||
      LittleEndianWord(bytes, 32, 2) != 2 * channels || LittleEndianWord(bytes, 34, 2) != 16) {
    return decoded;
  }
  decoded.chans = static_cast<int32_t>(channels);
  decoded.scans = static_cast<int64_t>(std::min<uint64_t>(dataBytes, bytes.size() - kHead) / (2 * channels));
  const size_t end = kHead + static_cast<size_t>(decoded.scans) * 2 * channels;
  for (size_t at = kHead; at < end; at += 2) {
    decoded.values.push_back(static_cast<int16_t>(LittleEndianWord(bytes, at, 2)));
  }
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
