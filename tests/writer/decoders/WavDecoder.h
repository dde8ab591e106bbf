// Reads a RIFF WAVE file of 16-bit PCM back: its format chunk and its frames. A WAV file holds
// codes, not values: DecodeWav gives the codes as values (tolerance 0), to be compared with
// ExpectedCode16 (Code16.h) of the scaled values and the channel ranges.
#pragma once

#include <string>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

// The frames present in the file (at most what the data chunk announces); headerPath is unused.
Decoded DecodeWav(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
