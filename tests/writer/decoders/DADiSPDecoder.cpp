// DADiSP decoder: the header names NUM_SERIES interlaced float series; the data file holds
// nothing but those floats, series after series within each sample.
#include "writer/decoders/Decoders.h"

#include <cstdlib>
#include <sstream>

namespace travune::testing {

namespace {

// The text after "KEY " on the header line that starts with it, or "" when there is none.
std::string ValueOf(const std::string& header, const std::string& key) {
  std::istringstream lines(header);
  std::string line;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.rfind(key + " ", 0) == 0) return line.substr(key.size() + 1);
  }
  return "";
}

// Items of a series line: " a , b , c " holds three.
int ItemCount(const std::string& list) {
  if (list.empty()) return 0;
  int commas = 0;
  for (char c : list) commas += c == ',';
  return commas + 1;
}

}  // namespace

Decoded DecodeDADiSP(const std::string& dataPath, const std::string& headerPath) {
  Decoded decoded;
  const std::string header = FileContents(headerPath);
  const std::string data = FileContents(dataPath);
  if (header.rfind("DATASET ", 0) != 0 || ValueOf(header, "FILE_TYPE") != "FLOAT" ||
      ValueOf(header, "STORAGE_MODE") != "INTERLACED") {
    return decoded;
  }
  const int chans = std::atoi(ValueOf(header, "NUM_SERIES").c_str());
  if (chans <= 0 || ItemCount(ValueOf(header, "SERIES")) != chans ||
      ItemCount(ValueOf(header, "VERT_UNITS")) != chans || data.size() % (4 * static_cast<size_t>(chans)) != 0) {
    return decoded;
  }
  decoded.chans = chans;
  decoded.scans = static_cast<int64_t>(data.size() / (4 * static_cast<size_t>(chans)));
  for (size_t i = 0; i + 4 <= data.size(); i += 4) decoded.values.push_back(LittleEndianFloat(&data[i]));
  decoded.ok = true;
  return decoded;
}

}  // namespace travune::testing
