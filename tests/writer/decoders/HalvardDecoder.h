// Reads a Halvard description and data file back: the channel lines give each channel's codes
// per unit and offset, the data file the codes (after a 10-byte clock stamp per scan when the
// first channel sits at word 5).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

struct HalvardChannel {
  int position = 0;           // 16-bit word within the scan
  double codesPerUnit = 0.0;  // as printed (infinite for a zero-width range)
  std::string label;
  std::string units;
  double offset = 0.0;        // the value of code 0
};

struct HalvardHead {
  std::string separator;  // found between the two rates
  char decimalMark = '.';
  double preTrigRate = 0.0;
  double postTrigRate = 0.0;
  int64_t preTrigCount = 0;
  std::vector<HalvardChannel> channels;
  bool ok = false;
};

// The calendar fields of one clock stamp.
struct HalvardStamp {
  int hour = 0, minute = 0, second = 0;
  uint32_t microsecond = 0;
  int month = 0, day = 0, year = 0;  // month 1-12, year - 1900 (low 8 bits)
};

HalvardHead ReadHalvardHead(const std::string& headerPath);
// Values: code / codesPerUnit + offset; the tolerance is half a code step plus what the six
// printed decimals of codes per unit and offset leave open.
Decoded DecodeHalvard(const std::string& dataPath, const std::string& headerPath);
// Every scan's clock stamp; empty when the file has none.
std::vector<HalvardStamp> DecodeHalvardStamps(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
