// Reads a MATLAB Level 4 MAT-file back: the one double matrix "A", a row per scan.
#pragma once

#include <string>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

// headerPath, when not empty, must hold the text naming the data file's base name.
Decoded DecodeMatlab(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
