// DIAdem decoder. The header is "DIAEXTENDED", a global block and channel blocks between
// "#BEGINCHANNELHEADER" and "#ENDCHANNELHEADER" of "key,value" lines. The first channel is the
// time: IMPLICIT with start (240) and step (241), or EXPLICIT like the data channels, whose
// float sits at position 221 (from 1) of 222 values per scan in the file named by 211.
#include "writer/decoders/Decoders.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>

namespace travune::testing {

namespace {

using Keys = std::map<int, std::string>;

// The key lines of every channel block, in order; empty when the header is malformed.
std::vector<Keys> ChannelBlocks(const std::string& header) {
  constexpr const char* kBegin = "#BEGINCHANNELHEADER\r\n";
  constexpr const char* kEnd = "#ENDCHANNELHEADER\r\n";
  if (header.rfind("DIAEXTENDED {@:ENGLISH\r\n\r\n#BEGINGLOBALHEADER\r\n", 0) != 0) return {};
  std::vector<Keys> blocks;
  for (size_t at = header.find(kBegin); at != std::string::npos; at = header.find(kBegin, at)) {
    at += std::strlen(kBegin);
    const size_t end = header.find(kEnd, at);
    if (end == std::string::npos) return {};
    Keys keys;
    std::istringstream lines(header.substr(at, end - at));
    for (std::string line; std::getline(lines, line);) {
      if (line.empty() || line.back() != '\r') return {};
      line.pop_back();
      const size_t comma = line.find(',');
      if (comma == std::string::npos) return {};
      keys[std::atoi(line.substr(0, comma).c_str())] = line.substr(comma + 1);
    }
    blocks.push_back(std::move(keys));
  }
  return blocks;
}

// Where a float channel lies; false when its keys do not describe one of dataPath.
bool Position(const Keys& keys, const std::string& dataPath, int* position, int* perScan) {
  const size_t slash = dataPath.find_last_of("/\\");
  const std::string fileName = slash == std::string::npos ? dataPath : dataPath.substr(slash + 1);
  if (keys.count(210) == 0 || keys.at(210) != "EXPLICIT" || keys.count(211) == 0 || keys.at(211) != fileName ||
      keys.count(213) == 0 || keys.at(213) != "BLOCK" || keys.count(214) == 0 || keys.at(214) != "REAL32" ||
      keys.count(221) == 0 || keys.count(222) == 0) {
    return false;
  }
  *position = std::atoi(keys.at(221).c_str());
  *perScan = std::atoi(keys.at(222).c_str());
  return *position >= 1 && *position <= *perScan;
}

struct Layout {
  std::vector<Keys> blocks;
  std::vector<int> positions;  // of the data channels
  int perScan = 0;
  int64_t scans = 0;
  std::string data;
  bool ok = false;
};

Layout ReadLayout(const std::string& dataPath, const std::string& headerPath) {
  Layout layout;
  layout.blocks = ChannelBlocks(FileContents(headerPath));
  if (layout.blocks.empty()) return layout;
  for (size_t i = 1; i < layout.blocks.size(); ++i) {
    int position = 0, perScan = 0;
    if (!Position(layout.blocks[i], dataPath, &position, &perScan)) return layout;
    if (layout.perScan != 0 && perScan != layout.perScan) return layout;
    layout.perScan = perScan;
    layout.positions.push_back(position);
  }
  const Keys& time = layout.blocks[0];
  if (time.count(210) == 0) return layout;
  if (time.at(210) == "EXPLICIT") {
    int position = 0, perScan = 0;
    if (!Position(time, dataPath, &position, &perScan) || position != 1) return layout;
    if (layout.perScan == 0) layout.perScan = perScan;
    if (perScan != layout.perScan) return layout;
  } else if (time.at(210) != "IMPLICIT" || time.count(240) == 0 || time.count(241) == 0) {
    return layout;
  }
  if (layout.perScan == 0) return layout;
  layout.data = FileContents(dataPath);
  const size_t scanBytes = 4 * static_cast<size_t>(layout.perScan);
  if (layout.data.size() % scanBytes != 0) return layout;
  layout.scans = static_cast<int64_t>(layout.data.size() / scanBytes);
  layout.ok = true;
  return layout;
}

}  // namespace

Decoded DecodeDIAdem(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  const Layout layout = ReadLayout(dataPath, headerPath);
  if (!layout.ok) return decoded;
  decoded.scans = layout.scans;
  decoded.chans = static_cast<int32_t>(layout.positions.size());
  for (int64_t s = 0; s < layout.scans; ++s) {
    for (const int position : layout.positions) {
      const size_t at = 4 * (static_cast<size_t>(s * layout.perScan) + position - 1);
      decoded.values.push_back(LittleEndianFloat(&layout.data[at]));
    }
  }
  // A float holds the value to half a unit in its last place: 2^-24 relative, or the smallest
  // subnormal's half near zero.
  decoded.relTolerance = 5.9604645e-8 * 1.000001;
  decoded.absTolerance = 7.1e-46;
  decoded.ok = true;
  return decoded;
}

std::vector<double> DecodeDIAdemTimes(const std::string& dataPath, const std::string& headerPath) {
  const Layout layout = ReadLayout(dataPath, headerPath);
  if (!layout.ok) return {};
  std::vector<double> times;
  const Keys& time = layout.blocks[0];
  const bool implicit = time.at(210) == "IMPLICIT";
  const double start = implicit ? std::strtod(time.at(240).c_str(), nullptr) : 0.0;
  const double step = implicit ? std::strtod(time.at(241).c_str(), nullptr) : 0.0;
  for (int64_t s = 0; s < layout.scans; ++s) {
    times.push_back(implicit ? start + static_cast<double>(s) * step
                             : LittleEndianFloat(&layout.data[4 * static_cast<size_t>(s * layout.perScan)]));
  }
  return times;
}

}  // namespace travune::testing
