// Reads a DADiSP pair back: the header file's series count and storage, the data file's floats.
#pragma once

#include <string>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

Decoded DecodeDADiSP(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
