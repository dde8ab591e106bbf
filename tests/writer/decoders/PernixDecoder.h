// Reads a Pernix NUL file back: a conversion leaves it empty, so it decodes to no scans.
#pragma once

#include <string>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

// ok when the file exists and is empty; no scans, no channels. headerPath is unused.
Decoded DecodePernix(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
