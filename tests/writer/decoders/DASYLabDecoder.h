// Reads a DASYLab file back: text header, channel lines, global block, channel records, codes.
#pragma once

#include <string>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

// The format has one file; headerPath is not used.
Decoded DecodeDASYLab(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
