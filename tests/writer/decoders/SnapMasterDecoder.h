// Reads a Snap-Master data file back by walking its counted key header, then its floats.
#pragma once

#include <string>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

// headerPath is the small pointer file; it must name dataPath.
Decoded DecodeSnapMaster(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
