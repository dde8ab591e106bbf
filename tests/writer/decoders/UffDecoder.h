// Reads a Universal File Format file back: its dataset numbers, and every dataset 58 (text or
// binary) as a channel with its declared facts, its abscissa values and its ordinates.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

struct UffChannelData {
  std::string label;            // record 9's ordinate label
  std::string units;            // record 9's ordinate units
  int64_t declaredValues = 0;   // record 7
  bool evenSpacing = true;      // record 7
  double abscissaStart = 0.0;   // record 7
  double abscissaStep = 0.0;    // record 7
  bool binary = false;
  int64_t declaredBytes = 0;    // binary form only
  std::vector<double> times;    // uneven spacing only: each value's abscissa
  std::vector<double> values;
};

struct UffContents {
  std::vector<int> datasets;  // dataset numbers in file order
  std::vector<UffChannelData> channels;
  bool ok = false;
  std::string error;  // what could not be read, when ok is false
};

// Reads path; numbers may use ',' as decimal mark and 'D' as exponent letter.
UffContents ReadUff(const std::string& path);

// The channels' values scan after scan. The file has one output; headerPath is not used.
Decoded DecodeUff(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
