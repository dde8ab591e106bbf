// Reads a block file written by the WrtBlk32 library back: the keyword header lines, each
// sample's x value and every trace's value, with the file's layout checked line by line.
#pragma once

#include <string>
#include <vector>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

struct BlockFile {
  std::string measurementType;
  std::string label;
  std::string spacing;  // "Uniform" or "Non-Uniform"
  std::string xUnits;
  std::vector<std::string> yUnits;       // one per trace
  std::vector<std::string> traceLabels;  // one per trace
  std::vector<double> x;                 // one per sample
  std::vector<double> values;            // sample after sample, one per trace
  bool ok = false;                       // false when the file is missing or malformed
  std::string error;                     // what was wrong
};

BlockFile ReadBlockFile(const std::string& path);

// Every sample of the block, one value per trace (a sample outside a converted scan range holds
// 0). headerPath is unused: the format has one file.
Decoded DecodeBlock(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
