// DASYLab decoder. The text header ends with " CHANNEL<tab>UNIT:" CR LF, followed by one 35-byte
// line per channel; the 52-byte global block (0x00 0x1A "IN") gives the text length + 28 and
// the channel count; each 406-byte channel record gives the slope and offset that turn a
// 16-bit code into the value code × slope + offset.
#include "writer/decoders/Decoders.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace travune::testing {

namespace {

constexpr const char* kTextEnd = " CHANNEL\tUNIT:\r\n";

}  // namespace

Decoded DecodeDASYLab(const std::string& dataPath, const std::string&) {
  Decoded decoded;
  const std::string file = FileContents(dataPath);
  if (file.rfind("DTDF\r\r\n", 0) != 0) return decoded;
  const size_t channelsAt = file.find("DATA CHANNELS\t= ");
  const size_t textEnd = file.find(kTextEnd);
  if (channelsAt == std::string::npos || textEnd == std::string::npos) return decoded;
  const int chans = std::atoi(file.c_str() + channelsAt + std::strlen("DATA CHANNELS\t= "));
  const size_t global = textEnd + std::strlen(kTextEnd) + 35 * static_cast<size_t>(chans);
  const size_t records = global + 52;
  const size_t samples = records + 406 * static_cast<size_t>(chans);
  if (chans <= 0 || file.size() < samples || file.compare(global, 4, std::string("\0\x1AIN", 4)) != 0 ||
      LittleEndianWord(file, global + 4, 2) != ((global + 28) & 0xFFFF) ||
      LittleEndianWord(file, global + 18, 2) != static_cast<uint64_t>(chans) || LittleEndianWord(file, global + 12, 2) != 406 ||
      (file.size() - samples) % (2 * static_cast<size_t>(chans)) != 0) {
    return decoded;
  }
  std::vector<double> slope(static_cast<size_t>(chans)), offset(static_cast<size_t>(chans));
  for (size_t c = 0; c < static_cast<size_t>(chans); ++c) {
    const size_t record = records + 406 * c;
    if (LittleEndianWord(file, record, 2) != 406) return decoded;
    slope[c] = LittleEndianDouble(file, record + 390);
    offset[c] = LittleEndianDouble(file, record + 398);
    // Rounding to the nearest code loses up to half a step.
    decoded.absTolerance = std::fmax(decoded.absTolerance, std::fabs(slope[c]) * 0.5000001);
  }
  decoded.relTolerance = 1e-12;
  decoded.chans = chans;
  decoded.scans = static_cast<int64_t>((file.size() - samples) / (2 * static_cast<size_t>(chans)));
  for (size_t i = samples, c = 0; i + 2 <= file.size(); i += 2, c = (c + 1) % static_cast<size_t>(chans)) {
    decoded.values.push_back(static_cast<double>(LittleEndianWord(file, i, 2)) * slope[c] + offset[c]);
  }
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
